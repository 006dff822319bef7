// What became of a recording, as far as it is known. Pure but for the clock.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "receiver_client/messages.h"
#include "receiver_client/pcm1_reader.h"
#include "receiver_record/exit_code.h"

namespace receiver {

struct RecordReport {
    ExitCode exitCode = ExitCode::kFailure;
    std::string message;  // why it is not complete; empty when it is
    std::string url;      // as PublicUrl gives it
    std::string output;   // empty when there is no file to play
    std::string sessionId;
    std::string instanceId;  // of the receiver
    PcmFormat format;
    uint64_t frames = 0;  // written
    std::optional<uint64_t> startSample;
    std::optional<uint64_t> heardAt;   // where the detector has placed the start
    std::optional<bool> startIsExact;  // to the sample; once the start was looked for
    std::optional<bool> endIsExact;    // when an end recording ended it
    std::optional<Program> program;
    std::string finishedReason;  // of the session, kReason...; empty if the receiver told none
    std::vector<Match> matches;
    std::string startedAt;  // UTC, ISO 8601: the request, and the end of the recording
    std::string finishedAt;
};

// In one word: "complete", "source-error", "interrupted", ...
const char* OutcomeName(ExitCode code);
// Why the recording ended: the programme's "maximum", "outro" or "source_ended" when it is
// complete, otherwise "source-error", "interrupted", ...
std::string EndReason(const RecordReport& report);
std::string FormatBer(double ber);
std::string UtcNow();

}  // namespace receiver
