// What the receiver has told about the session so far. Pure.
//
//   Units  samples as in receiver_client/messages.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "receiver_client/messages.h"
#include "receiver_record/stream_notes.h"

namespace receiver {

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
// Of the programme, when its end is known.
std::optional<uint64_t> ProgramFrames(const SessionRecord& session);

}  // namespace receiver
