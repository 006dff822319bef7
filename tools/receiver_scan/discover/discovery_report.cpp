#include "receiver_scan/discover/discovery_report.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "command_line/duration.h"
#include "platform/text.h"
#include "receiver_scan/source/opened_source.h"

namespace receiver {
namespace {

using nlohmann::ordered_json;

// As printf has it.
template <typename First, typename... More>
std::string Text(const char* format, First first, More... more) {
    char text[400];
    std::snprintf(text, sizeof(text), format, first, more...);
    return text;
}

std::string Position(double seconds) {
    return FormatPosition(static_cast<uint64_t>(std::llround(seconds * 1000.0)));
}

std::string SourceName(const Discovery& discovery, size_t source) {
    const std::string name = PublicName(discovery.sources[source].name);
    return ReplaceIllFormedUtf8(AnsiToUtf8(name).value_or(name));
}

std::string FileName(const std::string& path) {
    return ReplaceIllFormedUtf8(AnsiToUtf8(path).value_or(path));
}

double HoursOf(const Discovery& discovery) {
    double seconds = 0.0;
    for (const StationSource& source : discovery.sources) seconds += source.seconds;
    return seconds / 3600.0;
}

std::string SummaryOf(const Discovery& discovery) {
    std::string text = Text("%zu found in %.2f hours", discovery.found.size(), HoursOf(discovery));
    if (discovery.longer > 0) {
        text += Text("; %zu longer, songs or whole programmes, are left out", discovery.longer);
    }
    return text;
}

std::string TimeText(const Discovery& discovery, const Discovered& found, size_t index) {
    const DiscoveredTime& time = found.times[index];
    std::string text = Position(time.start);
    if (discovery.sources.size() > 1) text += "  " + SourceName(discovery, time.source);
    if (index == found.clearest) text += "  (clearest)";
    return text;
}

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '&':
                escaped += "&amp;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

constexpr const char* kStyle = R"(
:root{color-scheme:light dark;--ink:#1b1b1b;--paper:#fff;--line:#bbb;--mark:#0b57a4}
@media(prefers-color-scheme:dark){:root{--ink:#e8e8e8;--paper:#161616;--line:#555;--mark:#7cb8f5}}
body{font:16px/1.45 system-ui,sans-serif;color:var(--ink);background:var(--paper);
max-width:60rem;margin:1.5rem auto;padding:0 1rem}
section{border-top:1px solid var(--line);padding:.6rem 0 1rem;break-inside:avoid}
h2{font-size:1.1rem;margin:.2rem 0}svg{width:100%;height:34px;display:block}
.axis{stroke:var(--line);fill:none}.mark{fill:var(--mark)}.best{stroke:var(--ink);stroke-width:2}
text{fill:var(--ink);font-size:10px}p{margin:.2rem 0}ol{columns:11rem;margin:.4rem 0}
)";

// One strip of a source's whole length, with a mark for each time.
std::string Strip(const Discovery& discovery, const Discovered& found, size_t source) {
    constexpr double kWidth = 1000.0;
    const double length = std::max(1.0, discovery.sources[source].seconds);
    std::string svg = Text(
        "<svg viewBox=\"0 0 %.0f 34\" preserveAspectRatio=\"none\" role=\"img\" "
        "aria-label=\"%s over time\">",
        kWidth, found.name.c_str());
    svg += Text("<rect class=\"axis\" x=\"0\" y=\"2\" width=\"%.0f\" height=\"24\"/>", kWidth);
    for (size_t i = 0; i < found.times.size(); ++i) {
        const DiscoveredTime& time = found.times[i];
        if (time.source != source) continue;
        const double x = time.start / length * kWidth;
        const double width = std::max(3.0, found.seconds / length * kWidth);
        svg += Text(
            "<rect class=\"mark%s\" x=\"%.2f\" y=\"2\" width=\"%.2f\" height=\"24\">"
            "<title>%s</title></rect>",
            i == found.clearest ? " best" : "", x, width,
            Escaped(TimeText(discovery, found, i)).c_str());
    }
    return svg + "</svg>\n";
}

std::string Section(const Discovery& discovery, const Discovered& found) {
    std::string html = "<section><h2>" + found.name + "</h2>\n<p>" +
                       Text("%.2f s, heard %zu times; jingle-like %.0f %%", found.seconds,
                            found.times.size(), found.likeness * 100.0);
    if (!found.exportedFile.empty()) html += "; " + Escaped(FileName(found.exportedFile));
    html += "</p>\n";
    for (size_t source = 0; source < discovery.sources.size(); ++source) {
        if (discovery.sources.size() > 1) {
            html += "<p>" + Escaped(SourceName(discovery, source)) + "</p>\n";
        }
        html += Strip(discovery, found, source);
    }
    html += "<ol>\n";
    for (size_t i = 0; i < found.times.size(); ++i) {
        html += "<li>" + Escaped(TimeText(discovery, found, i)) + "</li>\n";
    }
    return html + "</ol></section>\n";
}

}  // namespace

std::vector<std::string> DiscoveryLines(const Discovery& discovery) {
    std::vector<std::string> lines;
    for (const Discovered& found : discovery.found) {
        std::string line = Text("%s  %6.2f s  %3zu times  jingle-like %3.0f %%", found.name.c_str(),
                                found.seconds, found.times.size(), found.likeness * 100.0);
        if (!found.exportedFile.empty()) line += "  " + FileName(found.exportedFile);
        lines.push_back(line);
        for (size_t i = 0; i < found.times.size(); ++i) {
            lines.push_back("    " + TimeText(discovery, found, i));
        }
    }
    lines.push_back(SummaryOf(discovery));
    return lines;
}

std::vector<std::string> DiscoveryJsonLines(const Discovery& discovery) {
    std::vector<std::string> lines;
    for (const Discovered& found : discovery.found) {
        ordered_json json = {{"type", "found"},
                             {"name", found.name},
                             {"seconds", found.seconds},
                             {"jingleLike", found.likeness},
                             {"clearest", found.clearest}};
        json["times"] = ordered_json::array();
        for (const DiscoveredTime& time : found.times) {
            json["times"].push_back({{"source", SourceName(discovery, time.source)},
                                     {"start", time.start},
                                     {"ber", time.ber}});
        }
        if (!found.exportedFile.empty()) json["file"] = FileName(found.exportedFile);
        lines.push_back(json.dump());
    }
    lines.push_back(ordered_json{{"type", "summary"},
                                 {"found", discovery.found.size()},
                                 {"longer", discovery.longer},
                                 {"hours", HoursOf(discovery)}}
                        .dump());
    return lines;
}

std::string DiscoveryPage(const Discovery& discovery) {
    std::string html =
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
        "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">"
        "<title>Heard again and again</title><style>" +
        std::string(kStyle) + "</style></head><body>\n<h1>Heard again and again</h1>\n<p>" +
        SummaryOf(discovery) +
        ". A frame marks the clearest time of each, the one to use as a reference.</p>\n";
    for (size_t i = 0; i < discovery.sources.size(); ++i) {
        html += "<p>" + Escaped(SourceName(discovery, i)) + ": " +
                Position(discovery.sources[i].seconds) + "</p>\n";
    }
    for (const Discovered& found : discovery.found) html += Section(discovery, found);
    return html + "</body></html>\n";
}

}  // namespace receiver
