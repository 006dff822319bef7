#include "receiver_plan/status/status_texts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>

#include "command_line/harmless_text.h"
#include "platform/text.h"
#include "receiver_plan/check/plan_runs.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr size_t kMaxWhyBytes = 300;

std::string Padded(std::string text, size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

// A text of others, which may be of any length and hold anything.
std::string Tame(const std::string& text) {
    if (text.size() <= kMaxWhyBytes) return Harmless(ReplaceIllFormedUtf8(text));
    return Harmless(ReplaceIllFormedUtf8(text.substr(0, kMaxWhyBytes))) + "...";
}

std::string MissingText(double seconds) {
    std::array<char, 400> text{};
    std::snprintf(text.data(), text.size(), "%.1f s are missing", seconds);
    return text.data();
}

std::string WhyText(const FoundRecording& recording) {
    const RecordingRecord& record = recording.record;
    std::string why =
        recording.state == RecordingState::kRecording ? "being recorded" : Tame(recording.why);
    // receiver-record tells so by itself where that is all that is wrong.
    if (record.missingSeconds > 0.0 && record.outcome != "complete-with-gaps") {
        why += (why.empty() ? "" : "; ") + MissingText(record.missingSeconds);
    }
    std::string kinds;
    for (const std::string& kind : record.kinds) kinds += (kinds.empty() ? "" : ", ") + Tame(kind);
    return kinds.empty() ? why : why + " (" + kinds + ")";
}

std::string Headline(const Plan* plan, unsigned days) {
    return std::string(plan != nullptr ? "Runs" : "Recordings") + " of " +
           (days == 1 ? "one day" : std::to_string(days) + " days") +
           (plan != nullptr ? ", as the station's clocks show it:" : ":");
}

json JsonOf(const FoundRecording& recording) {
    json object = {{"file", recording.file},
                   {"copy", recording.copy},
                   {"state", StateName(recording.state)},
                   {"changedAt", UtcText(recording.changed)}};
    if (!recording.why.empty()) object["message"] = recording.why;
    const RecordingRecord& record = recording.record;
    if (record.isHealed) object["copies"] = record.copies;
    if (recording.HasMoments()) {
        object["outcome"] = record.outcome;
        object["startedAt"] = UtcText(record.startedAt);
        object["finishedAt"] = UtcText(record.finishedAt);
    }
    if (record.gaps > 0) object["gaps"] = record.gaps;
    if (record.damage > 0) object["damage"] = record.damage;
    if (!record.kinds.empty()) object["kinds"] = record.kinds;
    if (record.missingSeconds > 0.0) object["missingSeconds"] = record.missingSeconds;
    return object;
}

std::string LineOf(const json& object) {
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

TimeZone ZoneOf(const Plan* plan, const RunStatus& run) {
    if (plan != nullptr && run.planned) return plan->StationOf(plan->programs[*run.planned]).zone;
    const std::optional<TimeZone> utc = TimeZone::Find("UTC");
    if (!utc) throw std::runtime_error("the system's time zones lack UTC");
    return *utc;
}

std::vector<std::string> RunFindings(const RunStatus& run) {
    std::vector<std::string> findings;
    if (!run.recordings.empty()) {
        for (const unsigned copy : run.missedCopies) {
            findings.push_back("copy " + std::to_string(copy) + " is missing");
        }
    }
    for (const FoundRecording& recording : run.recordings) {
        if (recording.state == RecordingState::kWhole) continue;
        findings.push_back(Tame(recording.file) + ": " + WhyText(recording));
    }
    return findings;
}

std::vector<std::string> StatusLines(const Plan* plan, const std::vector<RunStatus>& runs,
                                     unsigned days) {
    if (runs.empty()) return {};
    std::vector<std::string> lines = {Headline(plan, days)};
    size_t width = 0;
    for (const RunStatus& run : runs) width = std::max(width, Tame(run.program).size());
    for (const RunStatus& run : runs) {
        lines.push_back("  " + LocalText(ZoneOf(plan, run), run.begins) + "  " +
                        Padded(Tame(run.program), width) + "  " + StateName(run.state));
        for (const std::string& finding : RunFindings(run)) lines.push_back("      " + finding);
    }
    return lines;
}

std::string SummaryLine(const std::vector<RunStatus>& runs) {
    if (runs.empty()) return "No run.";
    std::map<RunState, size_t> counts;
    for (const RunStatus& run : runs) ++counts[run.state];
    std::string line = std::to_string(runs.size()) + (runs.size() == 1 ? " run: " : " runs: ");
    const char* separator = "";
    for (const auto& [state, count] : counts) {
        line += separator + std::to_string(count) + " " + StateName(state);
        separator = ", ";
    }
    return line + ".";
}

std::string StatusJson(const RunStatus& run) {
    json object = {{"type", "RUN"},
                   {"program", run.program},
                   {"planned", run.planned.has_value()},
                   {"begins", UtcText(run.begins)},
                   {"state", StateName(run.state)},
                   {"recordings", json::array()}};
    if (!run.missedCopies.empty()) object["missedCopies"] = run.missedCopies;
    for (const FoundRecording& recording : run.recordings) {
        object["recordings"].push_back(JsonOf(recording));
    }
    return LineOf(object);
}

std::string NoteJson(const std::string& note) {
    return LineOf({{"type", "NOTE"}, {"text", note}});
}

}  // namespace receiver
