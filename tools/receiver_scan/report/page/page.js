// Draws the curves, the programme and the bit pictures of a report. All charts show the same
// stretch of time; the part of the address behind "#t=" names it in seconds.
(function () {
    "use strict";
    const root = document.documentElement;
    const data = JSON.parse(document.getElementById("data").textContent);
    const total = Math.max(data.seconds, 0.1);
    const kMaxRows = 1500;   // points drawn at a time
    const kMinSpan = 0.2;    // seconds
    const kAxisWidth = 44;
    const kQuietest = 60;    // dB below full scale; the level is drawn upwards from there
    const charts = [];
    let range = [0, total];
    let busy = false;
    let colours = {};

    function bytesOf(base64) {
        return Uint8Array.from(atob(base64), (c) => c.charCodeAt(0));
    }
    function ratesOf(base64) {
        const bytes = bytesOf(base64);
        const rates = new Float32Array(bytes.length / 2);
        for (let i = 0; i < rates.length; ++i) {
            rates[i] = (bytes[2 * i] + 256 * bytes[2 * i + 1]) / 65535;
        }
        return rates;
    }
    function clock(seconds, digits) {
        const unit = Math.pow(10, digits);
        const all = Math.round(Math.max(seconds, 0) * unit);
        const two = (n) => String(n).padStart(2, "0");
        const whole = Math.floor(all / unit);
        const text = two(Math.floor(whole / 3600)) + ":" + two(Math.floor(whole / 60) % 60) + ":" +
            two(whole % 60);
        return digits > 0 ? text + "." + String(all % unit).padStart(digits, "0") : text;
    }
    function readColours() {
        const style = getComputedStyle(root);
        for (const name of ["ink", "soft", "line", "curve", "fill", "mark", "below", "card"]) {
            colours[name] = style.getPropertyValue("--" + name).trim();
        }
    }

    // The rows of [from, to] in at most kMaxRows buckets of `step` seconds each. A series gives
    // the value of its points first..last.
    function bucketed(count, step, from, to, valueOf) {
        const first = Math.max(0, Math.floor(from / step) - 1);
        const last = Math.min(count - 1, Math.ceil(to / step) + 1);
        const size = Math.max(1, Math.ceil((last - first + 1) / kMaxRows));
        const rows = [];
        for (let i = first; i <= last; i += size) {
            rows.push([i * step].concat(valueOf(i, Math.min(last + 1, i + size))));
        }
        return rows.length > 0 ? rows : [[0].concat(valueOf(0, 0))];
    }

    function berSource(reference) {
        const base = ratesOf(reference.curve.rates);
        const step = reference.curve.bucket * data.hop;
        const details = reference.details.map(function (detail) {
            const rates = ratesOf(detail.rates);
            const from = detail.word * data.hop;
            return {rates: rates, from: from, to: from + rates.length * data.hop};
        });
        function least(rates, begin, end) {
            let value = rates.length > begin ? rates[begin] : NaN;
            for (let i = begin + 1; i < end; ++i) value = Math.min(value, rates[i]);
            return value;
        }
        function detailFor(from, to) {
            return details.find((detail) => from >= detail.from && to <= detail.to);
        }
        return {
            rows: function (from, to) {
                const detail = detailFor(from, to);
                if (!detail) return bucketed(base.length, step, from, to, (a, b) => [least(base, a, b)]);
                return bucketed(detail.rates.length, data.hop, from - detail.from, to - detail.from,
                    (a, b) => [least(detail.rates, a, b)])
                    .map((row) => [row[0] + detail.from, row[1]]);
            },
            at: function (seconds) {
                const detail = detailFor(seconds, seconds);
                return detail ? detail.rates[Math.round((seconds - detail.from) / data.hop)]
                              : base[Math.floor(seconds / step)];
            },
        };
    }

    function levelSource() {
        const bytes = bytesOf(data.level.levels);
        const step = data.level.bucket * data.hop;
        function loudest(offset, begin, end) {
            let steps = 255;
            for (let i = begin; i < end; ++i) steps = Math.min(steps, bytes[2 * i + offset]);
            return Math.max(0, kQuietest - steps / 2);
        }
        return {
            rows: (from, to) => bucketed(bytes.length / 2, step, from, to,
                (a, b) => [loudest(0, a, b), loudest(1, a, b)]),
            at: function (seconds) {
                const i = Math.floor(seconds / step);
                return loudest(0, i, i + 1);
            },
        };
    }

    function dashed(context, x0, y0, x1, y1, dashes, colour) {
        context.save();
        context.setLineDash(dashes);
        context.strokeStyle = colour;
        context.lineWidth = 1;
        context.beginPath();
        context.moveTo(x0, y0);
        context.lineTo(x1, y1);
        context.stroke();
        context.restore();
    }

    function drawProgrammeEdges(context, area, graph) {
        if (!data.programme) return;
        for (const edge of [data.programme.from, data.programme.to]) {
            if (edge < range[0] || edge > range[1]) continue;
            const x = Math.round(graph.toDomXCoord(edge)) + 0.5;
            dashed(context, x, area.y, x, area.y + area.h, [2, 3], colours.soft);
        }
    }

    // A triangle for what was heard, a ring for what was nearly heard: the shape tells them apart.
    function drawMark(context, graph, area, mark, heard) {
        const x = graph.toDomXCoord(mark.time);
        const y = graph.toDomYCoord(mark.ber);
        context.save();
        context.strokeStyle = context.fillStyle = colours.mark;
        context.lineWidth = 1.5;
        dashed(context, x, area.y + 14, x, y, [1, 2], colours.mark);
        context.beginPath();
        if (heard) {
            context.moveTo(x - 6, area.y + 2);
            context.lineTo(x + 6, area.y + 2);
            context.lineTo(x, area.y + 12);
            context.closePath();
            context.fill();
        } else {
            context.arc(x, area.y + 7, 4.5, 0, 2 * Math.PI);
            context.stroke();
        }
        context.beginPath();
        context.arc(x, y, 3, 0, 2 * Math.PI);
        if (heard) context.fill(); else context.stroke();
        context.restore();
    }

    function berUnderlay(reference) {
        return function (context, area, graph) {
            const y = graph.toDomYCoord(data.threshold);
            context.fillStyle = colours.below;
            context.fillRect(area.x, y, area.w, area.y + area.h - y);
            dashed(context, area.x, Math.round(y) + 0.5, area.x + area.w, Math.round(y) + 0.5, [7, 4],
                colours.ink);
            drawProgrammeEdges(context, area, graph);
            let drawn = 0;
            for (const [marks, heard] of [[reference.misses, false], [reference.matches, true]]) {
                for (const mark of marks) {
                    if (mark.time < range[0] || mark.time > range[1]) continue;
                    drawMark(context, graph, area, mark, heard);
                    ++drawn;
                }
            }
            graph.marksDrawn = drawn;
        };
    }

    function commonOptions(source) {
        return {
            dateWindow: range.slice(), showLabelsOnHighlight: false, legend: "never",
            drawGapEdgePoints: true, highlightCircleSize: 3, animatedZooms: false,
            axisLineColor: colours.line, gridLineColor: colours.line, gridLineWidth: 0.5,
            xRangePad: 0, rightGap: 6, axisLabelFontSize: 12,
            highlightCallback: (event, x) => point(x),
            unhighlightCallback: () => point(null),
            drawCallback: function (graph, isInitial) {
                const seen = graph.xAxisRange();
                if (isInitial || busy) return;
                if (Math.abs(seen[0] - range[0]) + Math.abs(seen[1] - range[1]) > 1e-6) show(seen[0], seen[1]);
            },
        };
    }
    function axes(yTicks, yText) {
        return {
            x: {axisLabelFormatter: (x) => clock(x, range[1] - range[0] < 10 ? 1 : 0), pixelsPerLabel: 90,
                drawGrid: false,
                ticker: function (a, b, pixels) {
                    const steps = [0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 30, 60, 120, 300, 600, 900, 1800, 3600,
                        7200, 14400, 21600, 43200, 86400, 604800];
                    const step = steps.find((s) => (b - a) / s <= pixels / 90) || 2592000;
                    const ticks = [];
                    for (let k = Math.ceil(a / step); k * step <= b; ++k) {
                        ticks.push({v: k * step, label: clock(k * step, step < 1 ? 1 : 0)});
                    }
                    return ticks;
                }},
            y: {axisLabelWidth: kAxisWidth, ticker: () => yTicks.map((v) => ({v: v, label: yText(v)}))},
        };
    }

    function add(element, source, options) {
        const chart = {element: element, source: source};
        chart.graph = new Dygraph(element, source.rows(range[0], range[1]),
            Object.assign(commonOptions(source), options));
        chart.cursor = document.createElement("div");
        chart.cursor.className = "cursor";
        element.appendChild(chart.cursor);
        charts.push(chart);
    }

    function makeCharts() {
        add(document.getElementById("level"), levelSource(), {
            labels: ["t", "peak", "rms"], valueRange: [0, kQuietest + 2], colors: [colours.soft, colours.curve],
            series: {rms: {fillGraph: true, strokeWidth: 0.5}, peak: {strokeWidth: 0.8}}, fillAlpha: 0.25,
            underlayCallback: drawProgrammeEdges, axes: axes([20, 40, 60], (v) => v - kQuietest),
        });
        for (const element of document.querySelectorAll(".chart.ber")) {
            const reference = data.references[Number(element.dataset.reference)];
            add(element, berSource(reference), {
                labels: ["t", "BER"], valueRange: [0, 0.62], colors: [colours.curve], strokeWidth: 1.1,
                underlayCallback: berUnderlay(reference),
                axes: axes([data.threshold, 0.35, 0.5], (v) => v.toFixed(2)),
            });
            charts[charts.length - 1].name = reference.id;
        }
    }

    // The values at a moment, in words and by a line through all charts.
    function point(seconds) {
        const readout = document.getElementById("readout");
        for (const chart of charts) {
            chart.cursor.style.display = seconds === null ? "none" : "block";
            if (seconds !== null) chart.cursor.style.left = chart.graph.toDomXCoord(seconds) + "px";
        }
        if (seconds === null) return;
        readout.textContent = clock(seconds, 3) + charts.map(function (chart) {
            const value = chart.source.at(seconds);
            if (value === undefined || isNaN(value)) return "";
            return "   " + (chart.name ? chart.name + " " + value.toFixed(3) : (value - kQuietest).toFixed(0) + " dB");
        }).join("");
    }

    function drawProgramme() {
        const lane = document.getElementById("programme");
        lane.textContent = "";
        const programme = data.programme;
        const bar = document.createElement("div");
        lane.appendChild(bar);
        if (!programme) {
            bar.className = "none";
            bar.textContent = "None: no start recording was heard.";
            return;
        }
        const graph = charts[0].graph;
        const area = graph.getArea();
        const edge = (t) => Math.min(Math.max(graph.toDomXCoord(t), area.x), area.x + area.w);
        const end = programme.goesOn ? Math.max(programme.to, total) : programme.to;
        const left = edge(programme.from);
        const right = edge(end);
        bar.className = "bar";
        bar.style.left = left + "px";
        bar.style.width = Math.max(right - left, 2) + "px";
        bar.hidden = programme.from > range[1] || end < range[0];
        bar.textContent = clock(end - programme.from, 1) + ", " + programme.text;
        bar.title = bar.textContent;
        if (programme.fade > 0) {
            const fade = document.createElement("span");
            fade.className = "fade";
            fade.style.width = Math.max(0, right - edge(end - programme.fade)) + "px";
            bar.appendChild(fade);
        }
    }

    function report() {
        root.dataset.from = range[0].toFixed(3);
        root.dataset.to = range[1].toFixed(3);
        root.dataset.curves = charts.length - 1;
        root.dataset.marks = charts.reduce((sum, chart) => sum + (chart.graph.marksDrawn || 0), 0);
    }

    function show(from, to) {
        let span = Math.min(Math.max(to - from, kMinSpan), total);
        from = Math.min(Math.max(from, 0), total - span);
        range = [from, from + span];
        busy = true;
        for (const chart of charts) {
            const isLevel = !chart.name;
            chart.graph.updateOptions({file: chart.source.rows(range[0], range[1]),
                dateWindow: range.slice(), valueRange: isLevel ? [0, kQuietest + 2] : [0, 0.62]});
        }
        busy = false;
        drawProgramme();
        report();
    }

    function showAddress() {
        const found = /^#t=([0-9.]+)-([0-9.]+)$/.exec(location.hash);
        if (!found) return;
        show(Number(found[1]), Number(found[2]));
        document.getElementById("charts").scrollIntoView({block: "nearest"});
    }

    function drawBits(figure) {
        const reference = data.references[Number(figure.dataset.reference)];
        const picture = reference.misses[Number(figure.dataset.miss)].picture;
        const bits = bytesOf(picture.bits);
        const columns = bits.length / 32;
        let canvas = figure.querySelector("canvas");
        if (!canvas) {
            canvas = document.createElement("canvas");
            canvas.setAttribute("role", "img");
            canvas.setAttribute("aria-label", figure.querySelector("figcaption").textContent);
            figure.appendChild(canvas);
        }
        const left = 56, top = 34, bottom = 20, sides = 46, height = 128;
        const scale = window.devicePixelRatio || 1;
        const wide = Math.max(figure.clientWidth - 30, 200);
        canvas.width = wide * scale;
        canvas.height = (top + height + bottom) * scale;
        const context = canvas.getContext("2d");
        context.scale(scale, scale);
        const width = wide - left - sides;
        const cell = width / columns;
        const row = height / 32;
        const ofTime = new Float32Array(columns);
        const ofBit = new Float32Array(32);
        context.fillStyle = colours.ink;
        for (let column = 0; column < columns; ++column) {
            for (let bit = 0; bit < 32; ++bit) {
                const share = bits[32 * column + bit] / 255;
                ofTime[column] += share / 32;
                ofBit[bit] += share / columns;
                if (share === 0) continue;
                context.globalAlpha = share;
                context.fillRect(left + column * cell, top + height - (bit + 1) * row, cell + 0.3, row);
            }
        }
        context.globalAlpha = 0.55;
        for (let column = 0; column < columns; ++column) {
            const bar = Math.min(1, ofTime[column] / 0.6) * (top - 6);
            context.fillRect(left + column * cell, top - 3 - bar, cell + 0.3, bar);
        }
        for (let bit = 0; bit < 32; ++bit) {
            const bar = Math.min(1, ofBit[bit] / 0.6) * (sides - 8);
            context.fillRect(left + width + 4, top + height - (bit + 1) * row, bar, row - 0.6);
        }
        context.globalAlpha = 1;
        context.strokeStyle = colours.line;
        context.strokeRect(left, top, width, height);
        context.fillStyle = colours.soft;
        context.font = "11px system-ui, sans-serif";
        context.textAlign = "right";
        for (const hz of [300, 600, 1200, 3000]) {
            const y = top + height - Math.log10(hz / 300) * height;
            context.fillText(hz + " Hz", left - 5, Math.min(Math.max(y + 4, top + 9), top + height));
        }
        context.textAlign = "center";
        const step = [0.25, 0.5, 1, 2, 5, 10, 30, 60, 300].find((s) => reference.seconds / s <= width / 55) || 600;
        for (let t = 0; t <= reference.seconds; t += step) {
            const x = left + Math.min(t / reference.seconds, 1) * width;
            context.fillText(t + " s", x, top + height + 14);
        }
    }

    function drawAll() {
        readColours();
        for (const chart of charts) {
            chart.graph.updateOptions({axisLineColor: colours.line, gridLineColor: colours.line,
                colors: chart.name ? [colours.curve] : [colours.soft, colours.curve]}, true);
        }
        show(range[0], range[1]);
        for (const figure of document.querySelectorAll("figure.bits")) drawBits(figure);
    }

    readColours();
    makeCharts();
    drawAll();
    showAddress();
    window.addEventListener("hashchange", showAddress);
    document.getElementById("whole").addEventListener("click", function () {
        history.replaceState(null, "", location.pathname);
        show(0, total);
    });
    const section = document.getElementById("charts");
    section.tabIndex = 0;
    section.addEventListener("keydown", function (event) {
        const span = range[1] - range[0];
        const moves = {ArrowLeft: [-0.2, -0.2], ArrowRight: [0.2, 0.2], "+": [0.25, -0.25], "-": [-0.5, 0.5]};
        const move = moves[event.key];
        if (!move) return;
        event.preventDefault();
        const from = range[0] + move[0] * span;
        show(from, from + span * (1 + move[1] - move[0]));
    });
    let pending = 0;
    window.addEventListener("resize", function () {
        cancelAnimationFrame(pending);
        pending = requestAnimationFrame(drawAll);
    });
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", drawAll);
    window.addEventListener("beforeprint", function () { root.classList.add("printing"); drawAll(); });
    window.addEventListener("afterprint", function () { root.classList.remove("printing"); drawAll(); });
    root.dataset.state = "ready";
})();
