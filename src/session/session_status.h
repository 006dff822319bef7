// What a controlling program is told of a session, as typed fields. session_events.h
// makes the JSON of it.
//
//   Units  samples are frames of the stream, counted at 44100 Hz.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio/rubber_buffer_audio_file.h"
#include "session/program_end.h"
#include "session/reference_role.h"

namespace receiver {

struct SessionMatch {
    std::string referenceId;
    ReferenceRole role = ReferenceRole::kOther;
    uint64_t sample = 0;               // where the reference begins
    uint64_t observedAfterSample = 0;  // frames that had passed when it was reported
    double ber = 1.0;                  // bit error rate
};

struct SessionStatus {
    enum class State {
        kPreparing,   // until the source is open
        kScanning,    // until a start reference is found and its audio is ready to be served
        kReady,       // the audio pipe waits for its client
        kOpened,      // the client has come
        kCancelling,  // a stop was asked for
        kStopping,    // the source failed before there was anything to serve
        kFinished,    // final
    };
    enum class Reason { kEof, kError, kCancelled };
    struct Outcome {
        Reason reason = Reason::kError;
        std::string message;  // UTF-8; the cause of an error
    };
    struct SourceError {
        uint32_t code = 0;
        uint64_t endSample = 0;  // one past the last frame that came
    };

    std::string sessionId;
    State state = State::kPreparing;
    uint64_t sequence = 0;                // events emitted so far
    std::vector<SessionMatch> matches;    // in order of arrival
    std::optional<std::string> uri;       // of the audio pipe, while it waits for its client
    std::optional<uint64_t> startSample;  // from READY on
    std::optional<ProgramEnd> program;    // the last one announced
    std::optional<SourceError> sourceError;
    std::optional<bool> canDrain;    // after a source error, a stop or the end
    std::optional<Outcome> outcome;  // once finished
    // Once finished, if there was a buffer; before, whoever makes a snapshot adds it.
    std::optional<CRubberBufferAudioFile::Stats> buffer;
};

}  // namespace receiver
