#include "record/record_report.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <type_traits>

#include "record/duration.h"

namespace receiver {
namespace {

using nlohmann::json;

constexpr uint64_t kStreamRate = 44100;

std::string Position(uint64_t sample) {
    return FormatPosition(sample * 1000 / kStreamRate);
}

std::string EndCause(const std::string& reason) {
    if (reason == "maximum") return "the maximum length";
    if (reason == "outro") return "the end recording";
    if (reason == "source_ended") return "the end of the source";
    if (reason == "interrupted") return "a failure of the source";
    return reason;
}

const char* Outcome(ExitCode code) {
    switch (code) {
        case ExitCode::kComplete:
            return "complete";
        case ExitCode::kStartNotFound:
            return "start-not-found";
        case ExitCode::kSourceError:
            return "source-error";
        case ExitCode::kInterrupted:
            return "interrupted";
        case ExitCode::kOutputError:
            return "output-error";
        case ExitCode::kUsage:
        case ExitCode::kFailure:
            break;
    }
    return "failure";
}

json MatchJson(const receiver::Match& match) {
    return {{"referenceId", match.referenceId},
            {"role", match.role},
            {"sample", match.sample},
            {"observedAfterSample", match.observedAfterSample},
            {"ber", match.ber}};
}

struct EventDescription {
    std::string operator()(const receiver::UnknownEvent&) const { return ""; }
    std::string operator()(const receiver::ConnectedEvent&) const {
        return "Connected to the source, listening for the start";
    }
    std::string operator()(const receiver::DetectedEvent& event) const {
        const receiver::Match& match = event.match;
        return "Heard " + match.role + " recording " + match.referenceId + " at " +
               Position(match.sample) + " (bit error rate " + FormatBer(match.ber) + ")";
    }
    std::string operator()(const receiver::ProgramEndEvent& event) const {
        const receiver::Program& program = event.program;
        const uint64_t start = std::min(program.startSample, program.endSample);
        return "The program ends at " + Position(program.endSample) + " after " +
               Position(program.endSample - start) + ", because of " + EndCause(program.reason);
    }
    std::string operator()(const receiver::ReadyEvent& event) const {
        return "Recording from sample " + std::to_string(event.sourceSample) + " (" +
               Position(event.sourceSample) + ")";
    }
    std::string operator()(const receiver::SourceErrorEvent& event) const {
        return "The source failed with error " + std::to_string(event.error) +
               (event.canDrain ? "; what is buffered is still recorded" : "");
    }
    std::string operator()(const receiver::FinishedEvent& event) const {
        const receiver::SessionSnapshot& session = event.session;
        const bool tells = session.reason == "error" && !session.message.empty();
        return "The session has finished: " + session.reason +
               (tells ? " (" + session.message + ")" : "");
    }
};

}  // namespace

std::string FormatBer(double ber) {
    char text[24];
    std::snprintf(text, sizeof(text), "%.4f", ber);
    return text;
}

std::string EndReason(const RecordReport& report) {
    if (report.exitCode != ExitCode::kComplete) return Outcome(report.exitCode);
    return report.program ? report.program->reason : "source_ended";
}

json ToJson(const RecordReport& report) {
    json object = {{"outcome", Outcome(report.exitCode)},
                   {"complete", report.exitCode == ExitCode::kComplete},
                   {"exitCode", static_cast<int>(report.exitCode)},
                   {"message", report.message},
                   {"reason", EndReason(report)},
                   {"source", report.url},
                   {"file", report.output},
                   {"sessionId", report.sessionId},
                   {"receiverInstanceId", report.instanceId},
                   {"frames", report.frames},
                   {"startedAt", report.startedAt},
                   {"finishedAt", report.finishedAt},
                   {"sessionReason", report.finishedReason}};
    if (report.frames > 0) {
        object["sampleRate"] = report.format.sampleRate;
        object["channels"] = report.format.channels;
    }
    if (report.startSample) {
        object["startSample"] = *report.startSample;
        object["endSample"] = *report.startSample + report.frames;
    }
    if (report.program) {
        object["program"] = {{"startSample", report.program->startSample},
                             {"endSample", report.program->endSample},
                             {"fadeFrames", report.program->fadeFrames},
                             {"reason", report.program->reason}};
    }
    object["matches"] = json::array();
    for (const receiver::Match& match : report.matches) {
        object["matches"].push_back(MatchJson(match));
    }
    return object;
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
    const auto best = std::find_if(report.matches.begin(), report.matches.end(),
                                   [&](const receiver::Match& match) {
                                       return match.role == "start" && match.sample == start;
                                   });
    if (best != report.matches.end()) {
        lines.push_back("The start was " + best->referenceId + ", with a bit error rate of " +
                        FormatBer(best->ber) + " (a match needs 0.14 or less)");
    }
    if (report.exitCode != ExitCode::kComplete) {
        lines.push_back("Incomplete: " + report.message);
    } else {
        lines.push_back("Complete: it ended with " + EndCause(EndReason(report)));
    }
    return lines;
}

std::string DescribeEvent(const receiver::Event& event) {
    return std::visit(EventDescription{}, event.body);
}

std::string UtcNow() {
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now());
    const auto day = floor<days>(now);
    const year_month_day date(day);
    const hh_mm_ss time(now - day);
    char text[64];
    std::snprintf(
        text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
        static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
        static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
    return text;
}

std::string PublicUrl(const std::string& url) {
    const size_t slashes = url.find("://");
    if (slashes == std::string::npos) return url;
    const size_t host = slashes + 3;
    const size_t end = std::min(url.find_first_of("/?#", host), url.size());
    const size_t at = url.substr(host, end - host).rfind('@');
    return at == std::string::npos ? url : url.substr(0, host) + url.substr(host + at + 1);
}

}  // namespace receiver
