// What became of a recording, as far as it is known. Pure but for the clock.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "receiver_client/messages.h"
#include "receiver_client/pcm1_reader.h"
#include "receiver_record/exit_code.h"
#include "receiver_record/stream_notes.h"

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
    StreamNotes notes;             // of the programme
    bool untilReached = false;     // ended by the time that --until named
    std::string programStartedAt;  // UTC: when its first sample was on its way; empty before
    std::string receiverLog;       // of the receiver that was started
    std::string startedAt;         // UTC, ISO 8601: the request, and the end of the recording
    std::string finishedAt;
};

// In one word: "complete", "source-error", "interrupted", ...
const char* OutcomeName(ExitCode code);
// The programme ended by itself, whether or not parts of it are missing.
bool CameToItsEnd(const RecordReport& report);
// "until" as the reason of an end.
inline constexpr const char* kEndUntil = "until";
// Why the recording ended: the programme's "maximum", "outro" or "source_ended" when it is
// complete, otherwise "source-error", "interrupted", ...
std::string EndReason(const RecordReport& report);
std::string FormatBer(double ber);
std::string UtcNow();
std::string UtcBefore(uint64_t ms);  // so long ago

}  // namespace receiver
