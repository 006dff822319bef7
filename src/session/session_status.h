// What a controlling program is told of a session, as typed fields. session_events.h
// makes the JSON of it.
//
//   Units  samples are frames of the stream, counted at 44100 Hz.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio/rubber_buffer_audio_file.h"
#include "audio/source_notes.h"
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

// Why a session, a source or a connection failed, for who asked to be told.
struct SessionCause {
    enum class Kind {
        kSource,     // `source` tells how
        kReference,  // `referenceId` cannot be used
        kMemory,
        kAudioPipe,  // the audio's client went away, or its pipe could not be opened
    };
    Kind kind = Kind::kSource;
    SourceFailure source;
    std::string referenceId;
    std::string text;  // UTF-8, one line, for people; of kSource it is the source's
};

struct SessionStatus {
    static constexpr size_t kMaxGapsKept = 64;

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
        std::optional<SessionCause> cause = std::nullopt;
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
    // From READY on, where a pre-roll was asked for: the first sample of the audio pipe.
    std::optional<uint64_t> servedSample;
    std::optional<ProgramEnd> program;  // the last one announced
    std::optional<SourceError> sourceError;
    std::optional<bool> canDrain;        // after a source error, a stop or the end
    std::optional<Outcome> outcome;      // once finished
    std::vector<std::string> additions;  // the request's additional keys
    // Where the source was lost, the newest kMaxGapsKept; present where it is opened again.
    std::optional<std::vector<SourceResumption>> gaps;
    // Once finished, if there was a buffer; before, whoever makes a snapshot adds it.
    std::optional<CRubberBufferAudioFile::Stats> buffer;
};

}  // namespace receiver
