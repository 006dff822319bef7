#include "receiver_scan/check/quick_check.h"

#include <algorithm>

#include "platform/text.h"
#include "receiver_scan/check/reference_findings.h"

namespace receiver {
namespace {

// What is longer is not worth a wait before the programme.
constexpr double kMaxQuickSeconds = 120.0;

std::string WarningOf(const ReferenceVerdict& reference) {
    const std::string& path = reference.measured.path;
    const Finding& gravest = reference.findings.front();
    std::string line = AnsiToUtf8(path).value_or(path);
    line += std::string(" is ") + (gravest.verdict == Verdict::kUnfit ? "an " : "a ") +
            NameOf(gravest.verdict) + " reference: " + gravest.text;
    const size_t others = reference.findings.size() - 1;
    if (others > 0) line += " (and " + std::to_string(others) + " more)";
    return line;
}

}  // namespace

std::vector<std::string> ReferenceWarnings(const std::vector<std::string>& paths) {
    std::vector<ReferenceVerdict> references;
    double seconds = 0.0;
    for (const std::string& path : paths) {
        // The same recording may start one programme and end another.
        if (std::any_of(references.begin(), references.end(), [&](const ReferenceVerdict& known) {
                return known.measured.path == path;
            })) {
            continue;
        }
        ReferenceMeasurement measured = MeasureReference(path, kMaxQuickSeconds);
        seconds += measured.seconds;
        std::vector<Finding> findings = FindingsOf(measured);
        references.push_back({std::move(measured), std::move(findings)});
    }
    if (seconds <= kMaxQuickSeconds) AddLookAlikes(references);
    std::vector<std::string> warnings;
    for (const ReferenceVerdict& reference : references) {
        if (!reference.findings.empty()) warnings.push_back(WarningOf(reference));
    }
    return warnings;
}

}  // namespace receiver
