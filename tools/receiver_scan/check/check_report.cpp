#include "receiver_scan/check/check_report.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "platform/text.h"

namespace receiver {
namespace {

using nlohmann::ordered_json;

std::string NameForPeople(const std::string& path) {
    return ReplaceIllFormedUtf8(AnsiToUtf8(path).value_or(path));
}

std::string Heading(const ReferenceVerdict& reference) {
    char text[80];
    std::snprintf(text, sizeof(text), "%-10s  %6.2f s  ", NameOf(reference.Overall()),
                  reference.measured.seconds);
    return text + NameForPeople(reference.measured.path);
}

std::string NearestLine(double ber, const std::string& place) {
    char text[80];
    std::snprintf(text, sizeof(text), "    nearest in the programme: %.3f, in ", ber);
    return text + place;
}

size_t CountOf(const std::vector<ReferenceVerdict>& references, Verdict verdict) {
    return static_cast<size_t>(std::count_if(
        references.begin(), references.end(),
        [&](const ReferenceVerdict& reference) { return reference.Overall() == verdict; }));
}

ordered_json JsonOf(const ReferenceVerdict& reference) {
    ordered_json json = {{"type", "reference"},
                         {"file", NameForPeople(reference.measured.path)},
                         {"verdict", NameOf(reference.Overall())}};
    if (!reference.measured.failure.empty()) {
        json["error"] = reference.measured.failure;
        return json;
    }
    json["seconds"] = reference.measured.seconds;
    json["words"] = reference.measured.words.size();
    json["findings"] = ordered_json::array();
    for (const Finding& finding : reference.findings) {
        json["findings"].push_back({{"kind", NameOf(finding.kind)},
                                    {"verdict", NameOf(finding.verdict)},
                                    {"value", finding.value},
                                    {"text", finding.text},
                                    {"advice", finding.advice}});
    }
    return json;
}

}  // namespace

std::vector<std::string> CheckLines(const std::vector<ReferenceVerdict>& references,
                                    const std::optional<OrdinaryProgramme>& programme) {
    std::vector<std::string> lines;
    for (size_t i = 0; i < references.size(); ++i) {
        const ReferenceVerdict& reference = references[i];
        lines.push_back(Heading(reference));
        if (!reference.measured.failure.empty())
            lines.push_back("    " + reference.measured.failure);
        for (const Finding& finding : reference.findings) {
            lines.push_back("    " + finding.text);
            lines.push_back("      " + finding.advice);
        }
        if (programme && programme->bestBer[i] < 1.0) {
            lines.push_back(NearestLine(programme->bestBer[i], programme->bestPlace[i]));
        }
    }
    return lines;
}

std::vector<std::string> CheckJsonLines(const std::vector<ReferenceVerdict>& references,
                                        const std::optional<OrdinaryProgramme>& programme) {
    std::vector<std::string> lines;
    for (size_t i = 0; i < references.size(); ++i) {
        ordered_json json = JsonOf(references[i]);
        if (programme && programme->bestBer[i] < 1.0) {
            json["against"] = {
                {"matches", programme->matches[i]},
                {"matchesPerHour", static_cast<double>(programme->matches[i]) / programme->hours},
                {"nearestBer", programme->bestBer[i]},
                {"margin", programme->bestBer[i] - kBerThreshold},
                {"nearestAt", programme->bestPlace[i]}};
        }
        lines.push_back(json.dump());
    }
    ordered_json summary = {{"type", "summary"}};
    for (const Verdict verdict :
         {Verdict::kGood, Verdict::kWeak, Verdict::kUnfit, Verdict::kUnreadable}) {
        summary[NameOf(verdict)] = CountOf(references, verdict);
    }
    if (programme) summary["hoursAgainst"] = programme->hours;
    lines.push_back(summary.dump());
    return lines;
}

}  // namespace receiver
