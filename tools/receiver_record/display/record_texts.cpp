#include "receiver_record/display/record_texts.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "command_line/duration.h"
#include "wire/messages.h"

namespace receiver {
namespace {

constexpr uint64_t kStreamRate = 44100;
// What the receiver takes for a match.
constexpr const char* kMaxMatchBer = "0.14";
constexpr const char* kOnTheGrid =
    " where the recording was heard, on a grid of 12.5 ms: no sample of the stream stands out";

std::string Position(uint64_t sample) {
    return FormatPosition(sample * 1000 / kStreamRate);
}

std::string EndCause(const std::string& reason) {
    if (reason == kEndMaximum) return "the maximum length";
    if (reason == kEndOutro) return "the end recording";
    if (reason == kEndSourceEnded) return "the end of the source";
    if (reason == kEndUntil) return "the time that was set";
    if (reason == kEndInterrupted) return "a failure of the source";
    return reason;
}

struct EventDescription {
    // Of the others people are not told.
    template <typename Other>
    std::string operator()(const Other&) const {
        return "";
    }
    std::string operator()(const ConnectedEvent&) const {
        return "Connected to the source; listening for the start";
    }
    std::string operator()(const DetectedEvent& event) const {
        const Match& match = event.match;
        const std::string role =
            match.role == Role::kOther ? "" : RoleName(match.role) + std::string(" ");
        return "Heard the " + role + "recording " + match.referenceId + " at " +
               Position(match.sample) + " (bit error rate " + FormatBer(match.ber) + ")";
    }
    std::string operator()(const ProgramEndEvent& event) const {
        const Program& program = event.program;
        const uint64_t start = std::min(program.startSample, program.endSample);
        return "The programme ends at " + Position(program.endSample) + ", after " +
               Position(program.endSample - start) + ", because of " + EndCause(program.reason);
    }
    std::string operator()(const ReadyEvent& event) const {
        return "Recording from sample " + std::to_string(event.sourceSample) + " (" +
               Position(event.sourceSample) + ")";
    }
    std::string operator()(const SourceErrorEvent& event) const {
        const std::string why =
            event.cause ? ": " + event.cause->text : " (error " + std::to_string(event.error) + ")";
        return "The source failed" + why +
               (event.canDrain ? "; what is buffered is still being recorded" : "");
    }
    std::string operator()(const ResumedEvent& event) const {
        const Resumption& resumption = event.resumption;
        const uint64_t lost = resumption.lostFrames;
        return "Connection lost for " + FormatSeconds(resumption.outageMs * kStreamRate / 1000) +
               (event.cause ? " (" + event.cause->text + ")" : "") +
               (lost == 0 ? ", nothing is missing"
                          : ", " + FormatSeconds(lost) + " are missing, silence was put in");
    }
    std::string operator()(const DamagedEvent& event) const {
        std::string place = "The source is damaged at " + Position(event.sample);
        if (event.frames == 0) return place;
        return place + ", " + FormatSeconds(event.frames) +
               (event.kind == kDamageDiscontinuity ? " are missing" : " cannot be decoded");
    }
    std::string operator()(const TitleEvent& event) const {
        return event.title.empty() ? "" : "The station plays " + event.title;
    }
    std::string operator()(const StationEvent& event) const {
        return "The station is called " + event.name;
    }
    std::string operator()(const FinishedEvent& event) const {
        const SessionSnapshot& session = event.session;
        const bool tells = session.reason == kReasonError && !session.message.empty();
        return "The session has finished: " + session.reason +
               (tells ? " (" + session.message + ")" : "");
    }
};

}  // namespace

std::string DescribeEvent(const Event& event) {
    return std::visit(EventDescription{}, event.body);
}

std::string DroppedLinesNote(uint64_t lines) {
    return "(" + std::to_string(lines) + " lines could not be shown: nobody read them)\n";
}

std::string DroppedEventsNote(uint64_t events) {
    const nlohmann::json note = {{"type", "DROPPED"}, {"lines", events}};
    return note.dump() + "\n";
}

std::vector<std::string> SummaryLines(const RecordReport& report) {
    std::vector<std::string> lines;
    if (report.frames == 0 || !report.startSample) {
        lines.push_back("Nothing was recorded: " + report.message);
        return lines;
    }
    const uint64_t start = *report.startSample;
    lines.push_back("Recorded " + FormatPosition(report.frames * 1000 / report.format.sampleRate) +
                    (report.output.empty() ? "" : " to " + report.output) + ", samples " +
                    std::to_string(start) + " to " + std::to_string(start + report.frames) + " (" +
                    Position(start) + " to " + Position(start + report.frames) + ")");
    const uint64_t heardAt = report.heardAt.value_or(start);
    const auto best = std::find_if(
        report.matches.begin(), report.matches.end(),
        [&](const Match& match) { return match.role == Role::kStart && match.sample == heardAt; });
    if (best != report.matches.end()) {
        lines.push_back("The start was " + best->referenceId + ", with a bit error rate of " +
                        FormatBer(best->ber) + " (a match needs " + kMaxMatchBer + " or less)");
    }
    if (report.startIsExact == false) lines.push_back("The start lies" + std::string(kOnTheGrid));
    if (report.endIsExact == false) lines.push_back("The end lies" + std::string(kOnTheGrid));
    if (report.exitCode == ExitCode::kGaps) {
        lines.push_back("Complete, but " + report.message + ": ended by " +
                        EndCause(EndReason(report)));
    } else if (report.exitCode != ExitCode::kComplete) {
        lines.push_back("Incomplete: " + report.message);
    } else {
        lines.push_back("Complete: ended by " + EndCause(EndReason(report)));
    }
    return lines;
}

}  // namespace receiver
