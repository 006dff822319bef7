#include "receiver_scan/report/html_page.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "command_line/duration.h"
#include "receiver_scan/listen/result_text.h"
#include "receiver_scan/report/html_text.h"
#include "receiver_scan/report/page_frame.h"
#include "receiver_scan/report/page_parts.h"
#include "receiver_scan/report/report_data.h"

namespace receiver {
namespace {

std::string Number(const char* format, double value) {
    char text[40];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

std::string Cell(const std::string& text, const char* kind = "") {
    return std::string("<td") + kind + ">" + EscapeHtml(text) + "</td>";
}

// A click on the time shows the place in the curves.
std::string TimeCell(uint64_t sample, uint64_t length) {
    const double from = SecondsOf(sample);
    return "<td class=time><a href=\"#t=" + Number("%.3f", from < 4.0 ? 0.0 : from - 4.0) + "-" +
           Number("%.3f", from + SecondsOf(length) + 4.0) + "\">" + FormatPosition(MsOf(sample)) +
           "</a></td>";
}

std::string PlaceCells(const std::string& mark, const ScanReference& reference, uint64_t sample,
                       double ber) {
    return Cell(mark, " class=mark") + TimeCell(sample, reference.LengthFrames()) +
           Cell(std::to_string(sample), " class=number data-label=Sample") + Cell(reference.id) +
           Cell(NameOf(reference.role)) +
           Cell(Number("%.4f", ber), " class=number data-label=BER") +
           Cell(Number("%+.4f", kBerThreshold - ber), " class=number data-label=Margin");
}

std::string TableHead(const char* caption, const char* last) {
    return std::string("<h2>") + caption +
           "</h2>\n<div class=scroll><table><thead><tr><th><span class=unseen>Mark</span></th>"
           "<th>Time</th><th class=number>Sample</th><th>Recording</th><th>Role</th>"
           "<th class=number>BER</th><th class=number>Margin</th><th>" +
           last + "</th></tr></thead>\n<tbody>\n";
}

std::string MatchTable(const ScanResult& result) {
    if (result.judgement.matches.empty()) return "<h2>Heard</h2>\n<p>No recording was heard.</p>\n";
    std::string text = TableHead("Heard", "What the receiver does");
    for (const JudgedMatch& judged : result.judgement.matches) {
        const DetectorMatch& match = judged.match;
        text += "<tr>" +
                PlaceCells("▼", result.references[match.referenceIndex], match.sample, match.ber) +
                Cell(Describe(judged.fate)) + "</tr>\n";
    }
    return text + "</tbody></table></div>\n";
}

std::string NearMissTable(const ScanResult& result) {
    std::string rows;
    std::string pictures;
    for (size_t i = 0; i < result.views.size(); ++i) {
        const std::vector<NearMiss>& misses = result.views[i].misses;
        for (size_t k = 0; k < misses.size(); ++k) {
            const ScanReference& reference = result.references[i];
            rows += "<tr>" + PlaceCells("○", reference, misses[k].sample, misses[k].ber) +
                    Cell(Describe(misses[k].cause)) + "</tr>\n";
            pictures += "<figure class=bits data-reference=" + std::to_string(i) +
                        " data-miss=" + std::to_string(k) + "><figcaption><b>" +
                        EscapeHtml(reference.id) + "</b> at " +
                        FormatPosition(MsOf(misses[k].sample)) + ": " +
                        EscapeHtml(Describe(misses[k].cause)) + "</figcaption></figure>\n";
        }
    }
    if (rows.empty()) return "";
    return TableHead("Nearly heard", "Probably") + rows + "</tbody></table></div>\n" +
           "<h2>Where the bits differ</h2>\n<p>Each dark cell is a bit of the fingerprint that "
           "differs: left to right the time in the recording, bottom to top the frequency. Dark "
           "all over: something lies over it. Dark in one piece of time: that piece is missing or "
           "another. Dark at the top alone: a low-pass.</p>\n<div class=pictures>\n" +
           pictures + "</div>\n";
}

std::string Verdicts(const ScanResult& result) {
    std::string text = "<ul class=verdicts>\n";
    for (size_t i = 0; i < result.references.size(); ++i) {
        text += "<li>" + EscapeHtml(ReferenceLine(result, i)) + ".</li>\n";
    }
    return text + "<li>" + EscapeHtml(ProgrammeLine(result)) + ".</li>\n</ul>\n";
}

std::string Charts(const ScanResult& result) {
    std::string text =
        "<section id=charts aria-label=\"Curves over time\">\n<div class=tools>"
        "<span id=readout role=status>Drag across a curve to look closer.</span>"
        "<button type=button id=whole>Whole length</button></div>\n"
        "<div class=lane><h3>Level <small>dB below full scale: peak, and loudness as "
        "area</small></h3><div class=chart id=level></div></div>\n"
        "<div class=lane id=programme-lane><h3>Programme</h3><div id=programme></div></div>\n";
    for (size_t i = 0; i < result.references.size(); ++i) {
        const ScanReference& reference = result.references[i];
        text += "<div class=lane><h3>" + EscapeHtml(reference.id) + " <small>" +
                NameOf(reference.role) + ", " +
                Number("%.1f s", SecondsOf(reference.LengthFrames())) +
                "; BER, lower is more alike</small></h3><div class=\"chart ber\" data-reference=" +
                std::to_string(i) + "></div></div>\n";
    }
    return text +
           "<p class=key><span>▼ heard</span><span>○ nearly heard</span>"
           "<span>╌ 0.14: heard below it</span></p>\n</section>\n";
}

}  // namespace

std::string ReportPage(const ScanResult& result) {
    using namespace page_parts;
    PageHead head;
    head.title = "What the receiver hears in " + result.source;
    head.kind = "What the receiver hears";
    head.headline = result.source;
    head.summary = HeardText(result);
    head.furtherStyle = kDygraphsStyle;
    head.hasScripts = true;
    std::string page =
        PageBeginning(head) + Verdicts(result) +
        "<noscript><p>The curves need scripts; the tables below do not.</p></noscript>\n" +
        Charts(result) + MatchTable(result) + NearMissTable(result) +
        "</main>\n<footer>Made by receiver-scan. The curves are drawn by Dygraphs. "
        "<details><summary>Its licence</summary><pre>" +
        EscapeHtmlLines(kDygraphsLicence) + "</pre></details></footer>\n";
    page += "<script type=\"application/json\" id=data>" + EscapeScript(ReportData(result).dump()) +
            "</script>\n<script>\n";
    page.append(kDygraphs).append("\n</script>\n<script>\n").append(kScript);
    return page + "</script>\n</body>\n</html>\n";
}

}  // namespace receiver
