#include "receiver_scan/discover/discovery_report.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "command_line/duration.h"
#include "platform/text.h"
#include "receiver_scan/source/opened_source.h"

namespace receiver {
namespace {

using nlohmann::ordered_json;

double HoursOf(const Discovery& discovery) {
    double seconds = 0.0;
    for (const StationSource& source : discovery.sources) seconds += source.seconds;
    return seconds / 3600.0;
}

std::string InUtf8(const std::string& text) {
    return ReplaceIllFormedUtf8(AnsiToUtf8(text).value_or(text));
}

std::string TimeText(const Discovery& discovery, const Discovered& found, size_t index) {
    const DiscoveredTime& time = found.times[index];
    std::string text = PositionText(time.start);
    if (discovery.sources.size() > 1) text += "  " + DiscoveredIn(discovery, time.source);
    if (index == found.clearest) text += "  (clearest)";
    return text;
}

}  // namespace

std::string PositionText(double seconds) {
    return FormatPosition(static_cast<uint64_t>(std::llround(seconds * 1000.0)));
}

std::string DiscoveredIn(const Discovery& discovery, size_t source) {
    return InUtf8(PublicName(discovery.sources[source].name));
}

std::string ExportedFile(const Discovered& found) {
    return InUtf8(found.exportedFile);
}

std::string DiscoverySummary(const Discovery& discovery) {
    std::string text =
        Printed("%zu found in %.2f hours", discovery.found.size(), HoursOf(discovery));
    if (discovery.longer > 0) {
        text += Printed("; %zu longer, songs or whole programmes, are left out", discovery.longer);
    }
    return text;
}

std::vector<std::string> DiscoveryLines(const Discovery& discovery) {
    std::vector<std::string> lines;
    for (const Discovered& found : discovery.found) {
        std::string line =
            Printed("%s  %6.2f s  %3zu times  jingle-like %3.0f %%", found.name.c_str(),
                    found.seconds, found.times.size(), found.likeness * 100.0);
        if (!found.exportedFile.empty()) line += "  " + ExportedFile(found);
        lines.push_back(line);
        for (size_t i = 0; i < found.times.size(); ++i) {
            lines.push_back("    " + TimeText(discovery, found, i));
        }
    }
    lines.push_back(DiscoverySummary(discovery));
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
            json["times"].push_back({{"source", DiscoveredIn(discovery, time.source)},
                                     {"start", time.start},
                                     {"ber", time.ber}});
        }
        if (!found.exportedFile.empty()) json["file"] = ExportedFile(found);
        lines.push_back(json.dump());
    }
    lines.push_back(ordered_json{{"type", "summary"},
                                 {"found", discovery.found.size()},
                                 {"longer", discovery.longer},
                                 {"hours", HoursOf(discovery)}}
                        .dump());
    return lines;
}

}  // namespace receiver
