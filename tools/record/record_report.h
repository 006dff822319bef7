// What became of a recording: the summary for people and the file beside the audio. Pure.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "receiver_client/messages.h"
#include "receiver_client/pcm1_reader.h"
#include "record/exit_code.h"

namespace receiver {

struct RecordReport {
    ExitCode exitCode = ExitCode::kFailure;
    std::string message;  // why it is not complete; empty when it is
    std::string url;      // as PublicUrl gives it
    std::string output;   // empty when there is no file to play
    std::string sessionId;
    std::string instanceId;  // of the receiver
    receiver::PcmFormat format;
    uint64_t frames = 0;  // written
    std::optional<uint64_t> startSample;
    std::optional<receiver::Program> program;
    std::string
        finishedReason;  // the receiver's "eof", "error" or "cancelled"; empty if it told none
    std::vector<receiver::Match> matches;
    std::string startedAt;  // UTC, ISO 8601: the request, and the end of the recording
    std::string finishedAt;
};

// Why the recording ended: the program's "maximum", "outro" or "source_ended" when it is
// complete, otherwise "source-error", "interrupted", ...
std::string EndReason(const RecordReport& report);
nlohmann::json ToJson(const RecordReport& report);
std::vector<std::string> SummaryLines(const RecordReport& report);

// One line about an event; empty for what only helps to find a fault.
std::string DescribeEvent(const receiver::Event& event);
std::string FormatBer(double ber);
std::string UtcNow();
// Without a user's name and password: recordings are passed on.
std::string PublicUrl(const std::string& url);

}  // namespace receiver
