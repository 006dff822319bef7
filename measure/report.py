"""What was measured, for people: a table, the capacity, a plot, and the parts of documents that
are made of them."""
import pathlib
import platform
import re

WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 640, 300, 60, 600, 30, 250


def machine(cores, load):
    model = re.search(r"model name\s*:\s*(.*)", pathlib.Path("/proc/cpuinfo").read_text())
    name = re.sub(r"\s+", " ", model[1]) if model else platform.machine()
    return f"{cores} cores of {name}, Linux {platform.release()}; load average at the start {load:.1f}"


def table(figures):
    """Rows of what, the receiver's figure in each build, and others'."""
    builds = ("release", "lean")
    others = ("ffmpeg", "mpg123", "liquidsoap")

    def row(what, name, digits=1, **theirs):
        """`name` has {} where a build or another program stands."""
        cells = [figures.get(name.format(who)) for who in (*builds, *others)]
        cells = [cell.text(digits) if cell else "" for cell in cells]
        for who, cell in theirs.items():
            cells[(*builds, *others).index(who)] = cell
        return (what, *cells)

    def live_to_burst(who, burst):
        live = figures.get(f"live {who}")
        return f"{live.median / figures[burst].median:.2f}" if live else ""

    return [
        ("what", "ReceiverHost", "lean build", *others),
        row("burst, 1 reference of 10 s: processor s per stream hour", "burst {} 1",
            **{who: figures[f"burst {who}"].text(1) for who in ("ffmpeg", "mpg123")}),
        row("the same / ffmpeg's", "burst {} 1 / ffmpeg", 2, ffmpeg="1"),
        row("burst, 32 references of 10 s", "burst {} 32"),
        row("the same / ffmpeg's", "burst {} 32 / ffmpeg", 2, ffmpeg="1"),
        row("loading 32 references of 10 s: processor s", "burst {} loading 32", 2),
        row("live, 1 reference: processor s per stream hour", "live {}"),
        ("the same / the burst figure",
         *(live_to_burst(build, f"burst {build} 1") for build in builds),
         *(live_to_burst(who, f"burst {who}") for who in ("ffmpeg", "mpg123")), ""),
        row("wake-ups a second, listening", "live {} wake-ups"),
        row("wake-ups a second, idle with a client", "live {} idle wake-ups"),
        ("processor µs of a wake-up that finds nothing to do (`tail -f -s 0.05`)",
         figures["live bare us"].text(0), "", "", "", ""),
        row("private memory, listening, beyond the PCM held: MiB", "live {} private MiB"),
        row("private memory, idle: MiB", "live {} idle private MiB"),
        row("process start to LISTENING: ms (`true`, start to end: "
            f"{figures['start true ms'].text(1)})", "start {} ms"),
        row("jingle's last sample sent to DETECTED: ms", "latency {} ms", 0),
    ]


def capacity_table(runs):
    rows = [("sessions", "minutes", "alive", "processors", "Icecast's", "worst lateness, first quarter",
             "last quarter", "median session", "private MiB beyond the PCM")]
    for run in runs:
        rows.append((str(run["sessions"]), f"{run['minutes']:g}", str(run["alive"]),
                     f"{run['processors']:.2f}", f"{run['icecast processors']:.2f}",
                     f"{run['late at first s']:.2f} s", f"{run['late at last s']:.2f} s",
                     f"{run['median late s']:.2f} s", f"{run['private MiB']:.1f}"))
    return rows


def markdown(rows):
    head, *rest = rows
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rest])


def text(rows):
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    return "\n".join("  ".join(part.ljust(width) for part, width in zip(row, widths)).rstrip()
                     for row in rows)


def plot(runs, cores):
    """Processors in use over sessions, with the machine's as the line that ends it."""
    most = max(run["sessions"] for run in runs)
    top = max(cores, *(run["processors"] + run["icecast processors"] for run in runs)) * 1.1

    def x(sessions):
        return LEFT + (RIGHT - LEFT) * sessions / most

    def y(processors):
        return BOTTOM - (BOTTOM - TOP) * processors / top

    def line(points, style):
        return f'<polyline fill="none" {style} points="' + " ".join(
            f"{x(a):.1f},{y(b):.1f}" for a, b in points) + '"/>'

    receivers = [(0, 0.0)] + [(run["sessions"], run["processors"]) for run in runs]
    together = [(0, 0.0)] + [(run["sessions"], run["processors"] + run["icecast processors"])
                             for run in runs]
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
        f'font-family="DejaVu Sans, sans-serif" font-size="12">',
        "<title>Processors in use over live sessions</title>",
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
        f'<path d="M{LEFT} {TOP}V{BOTTOM}H{RIGHT}" fill="none" stroke="black"/>',
        line([(0, cores), (most, cores)], 'stroke="#b00" stroke-dasharray="6 4"'),
        f'<text x="{RIGHT}" y="{y(cores) - 5:.1f}" text-anchor="end" fill="#b00">'
        f"{cores} processors</text>",
        line(together, 'stroke="#888" stroke-dasharray="2 3"'),
        line(receivers, 'stroke="#06c" stroke-width="2"')]
    for run in runs:
        late = run["late at last s"]
        parts += [f'<circle cx="{x(run["sessions"]):.1f}" cy="{y(run["processors"]):.1f}" r="4" '
                  'fill="#06c"/>',
                  f'<text x="{x(run["sessions"]) - 6:.1f}" y="{y(run["processors"]) - 8:.1f}" '
                  f'text-anchor="end">{run["processors"]:.2f}; {late:.1f} s late</text>',
                  f'<text x="{x(run["sessions"]):.1f}" y="{BOTTOM + 16}" text-anchor="middle">'
                  f'{run["sessions"]}</text>']
    parts += [f'<text x="{(LEFT + RIGHT) / 2:.0f}" y="{HEIGHT - 8}" text-anchor="middle">'
              "live sessions of 128 kbit/s, 1 reference each (dotted: with Icecast)</text>",
              f'<text x="16" y="{(TOP + BOTTOM) / 2:.0f}" text-anchor="middle" '
              f'transform="rotate(-90 16 {(TOP + BOTTOM) / 2:.0f})">processors in use</text>',
              "</svg>"]
    return "\n".join(parts) + "\n"


def what_it_means(runs, cores):
    """From the largest run in which none fell behind."""
    held = [run for run in runs if run["alive"] == run["sessions"]
            and run["late at last s"] < run["late at first s"] + 1]
    if not held:
        return "No run was held without a session falling behind.\n"
    best = max(held, key=lambda run: run["sessions"])
    each = best["processors"] / best["sessions"]
    lines = [f"A session takes {1000 * each:.1f} thousandths of a processor and "
             f"{best['private MiB']:.1f} MiB beside its audio. What runs out first is processor "
             f"time: {cores} processors like these end at about {int(0.9 * cores / each)} sessions, "
             "a tenth left free. From the same figures:", ""]
    rows = [("sessions", "processors", "memory without the audio", "traffic at 128 kbit/s")]
    for sessions in (1000, 10000):
        rows.append((f"{sessions:,}", f"{sessions * each / 0.9:.0f}",
                     f"{sessions * best['private MiB'] / 1024:.1f} GiB",
                     f"{sessions * 0.128:.0f} Mbit/s"))
    return "\n".join(lines) + "\n" + markdown(rows) + "\n"


def rewrite(path, name, body):
    """The part of a document between its marks."""
    begin, end = f"<!-- {name}: begin -->", f"<!-- {name}: end -->"
    document = path.read_text()
    before, rest = document.split(begin)
    _, after = rest.split(end)
    path.write_text(f"{before}{begin}\n{body.strip()}\n{end}{after}")
