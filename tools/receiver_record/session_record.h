// What the receiver has told about the session so far. Pure.
//
//   Units  samples as in receiver_client/messages.h; times ms.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "receiver_client/messages.h"
#include "receiver_record/stream_notes.h"

namespace receiver {

// States that the receiver does not tell, in the manner of those that it does.
inline constexpr const char* kShownStarting = "STARTING";
inline constexpr const char* kShownRecording = "RECORDING";
inline constexpr const char* kShownDraining = "DRAINING";

struct SessionRecord {
    struct End {
        std::string reason;  // kReasonEof, kReasonError or kReasonCancelled
        std::string message;
    };

    std::string state;  // for people
    std::vector<Match> matches;
    std::optional<Program> program;
    std::optional<uint64_t> startSample;
    std::optional<uint64_t> servedSample;       // with which the audio begins
    std::vector<std::string> missingAdditions;  // that the receiver does not know
    std::string audioUri;                       // empty before there is audio
    std::optional<End> finished;
    StreamNotes notes;
    std::optional<Cause> cause;  // why the source, or the session, has failed
    bool connected = false;      // the source has been open
    uint64_t sequence = 0;       // what the events up to this one told is known
    bool over = false;           // so the receiver says, though FINISHED has not come
    bool sourceFailed = false;
};

void Apply(const Event& event, SessionRecord& session);
// What the receiver says of the session when it is asked.
void Apply(const SessionSnapshot& snapshot, SessionRecord& session);
// The recording that was heard where it starts; null when none was.
const Match* StartMatch(const SessionRecord& session);
// Which of the recordings that was; empty when none was.
std::string StartId(const SessionRecord& session);
// How long the programme's first sample was on its way when the start was found.
uint64_t StartLagMs(const SessionRecord& session);
// The programme's title, when it begins.
StreamNotes NotesAtTheStart(const SessionRecord& session);
// Of the programme, when its end is known.
std::optional<uint64_t> ProgramFrames(const SessionRecord& session);

}  // namespace receiver
