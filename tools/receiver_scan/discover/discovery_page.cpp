#include "receiver_scan/discover/discovery_page.h"

#include <algorithm>
#include <cmath>

#include "receiver_scan/discover/discovery_report.h"
#include "receiver_scan/report/html_text.h"
#include "receiver_scan/report/page_frame.h"

namespace receiver {
namespace {

constexpr double kStripWidth = 1000.0;

std::string Cell(const std::string& text, const char* kind = "") {
    return std::string("<td") + kind + ">" + text + "</td>";
}

std::string SourceList(const Discovery& discovery) {
    std::string html = "<ul class=verdicts>\n";
    for (size_t i = 0; i < discovery.sources.size(); ++i) {
        html += "<li>" + EscapeHtml(DiscoveredIn(discovery, i)) + ": " +
                PositionText(discovery.sources[i].seconds) + "</li>\n";
    }
    return html + "</ul>\n";
}

std::string Table(const Discovery& discovery) {
    if (discovery.found.empty()) return "";
    const bool areExported =
        std::any_of(discovery.found.begin(), discovery.found.end(),
                    [](const Discovered& found) { return !found.exportedFile.empty(); });
    std::string html =
        "<div class=scroll><table><thead><tr><th>Name</th><th class=number>Length</th>"
        "<th class=number>Times</th><th class=number>Like a jingle</th>";
    html += areExported ? "<th>File</th></tr></thead>\n<tbody>\n" : "</tr></thead>\n<tbody>\n";
    for (const Discovered& found : discovery.found) {
        html += "<tr>" + Cell("<a href=\"#" + found.name + "\">" + found.name + "</a>") +
                Cell(Printed("%.2f s", found.seconds), " class=number data-label=Length") +
                Cell(Printed("%zu", found.times.size()), " class=number data-label=Times") +
                Cell(Printed("%.0f %%", found.likeness * 100.0),
                     " class=number data-label=\"Like a jingle\"") +
                (areExported ? Cell(EscapeHtml(ExportedFile(found))) : "") + "</tr>\n";
    }
    return html + "</tbody></table></div>\n";
}

// A line at each full hour, of a long source at each sixth.
std::string Hours(double seconds) {
    const double step = seconds > 24 * 3600.0 ? 6 * 3600.0 : 3600.0;
    std::string svg;
    for (int i = 1; i * step < seconds; ++i) {
        const double x = i * step / seconds * kStripWidth;
        svg += Printed("<path class=hour d=\"M%.2f 0V24\"/>", x);
    }
    return svg;
}

// One strip as long as the source, with a mark for each time.
std::string Strip(const Discovery& discovery, const Discovered& found, size_t source) {
    const double length = std::max(1.0, discovery.sources[source].seconds);
    std::string svg =
        "<svg class=strip viewBox=\"0 0 1000 24\" preserveAspectRatio=none "
        "role=img aria-label=\"" +
        found.name + " over time\">" + Hours(length);
    for (size_t i = 0; i < found.times.size(); ++i) {
        const DiscoveredTime& time = found.times[i];
        if (time.source != source) continue;
        const bool clearest = i == found.clearest;
        svg += Printed("<rect class=\"heard%s\" x=\"%.2f\" y=\"%d\" width=\"%.2f\" height=\"%d\">",
                       clearest ? " clearest" : "", time.start / length * kStripWidth,
                       clearest ? 0 : 6, found.seconds / length * kStripWidth, clearest ? 24 : 18) +
               "<title>" + PositionText(time.start) + "</title></rect>";
    }
    return svg + "</svg>\n<p class=scale><span>00:00:00</span><span>" +
           PositionText(discovery.sources[source].seconds).substr(0, 8) + "</span></p>\n";
}

std::string Times(const Discovered& found, size_t source) {
    std::string html = "<ul class=times>\n";
    for (size_t i = 0; i < found.times.size(); ++i) {
        if (found.times[i].source != source) continue;
        html += "<li>" + PositionText(found.times[i].start) +
                (i == found.clearest ? " <b>clearest</b>" : "") + "</li>\n";
    }
    return html + "</ul>\n";
}

bool IsHeardIn(const Discovered& found, size_t source) {
    return std::any_of(found.times.begin(), found.times.end(),
                       [&](const DiscoveredTime& time) { return time.source == source; });
}

std::string Section(const Discovery& discovery, const Discovered& found) {
    std::string html =
        "<figure class=found id=" + found.name + "><figcaption><b>" + found.name + "</b> " +
        Printed("%.2f s, heard %zu times", found.seconds, found.times.size()) + "</figcaption>\n";
    for (size_t source = 0; source < discovery.sources.size(); ++source) {
        if (!IsHeardIn(found, source)) continue;
        if (discovery.sources.size() > 1) {
            html += "<h3>" + EscapeHtml(DiscoveredIn(discovery, source)) + "</h3>\n";
        }
        html += Strip(discovery, found, source) + Times(found, source);
    }
    return html + "</figure>\n";
}

}  // namespace

std::string DiscoveryPage(const Discovery& discovery) {
    PageHead head;
    head.title = head.headline = "Heard again and again";
    head.kind = "What was discovered";
    head.summary = DiscoverySummary(discovery) + ".";
    std::string html = PageBeginning(head) + SourceList(discovery) + Table(discovery);
    if (!discovery.found.empty()) {
        html +=
            "<h2>When each was heard</h2>\n<p>A mark for each time; the tall one is the clearest, "
            "the one to use as a recording. The lines are the hours.</p>\n";
    }
    for (const Discovered& found : discovery.found) html += Section(discovery, found);
    return html + "</main>\n<footer>Made by receiver-scan.</footer>\n</body>\n</html>\n";
}

}  // namespace receiver
