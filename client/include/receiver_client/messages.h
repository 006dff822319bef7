// What travels on the control pipe, as records: requests, replies and events.
// docs/protocol.md describes each of them. Pure data.
//
//   Units   samples are frames of the decoded stream at 44100 Hz, counted from its
//           first frame; times ms; sizes bytes.
//   Bounds  of a request are the receiver's, which rejects what lies outside.
//   Raw     every `raw` holds the object that was received, as compact JSON text in UTF-8,
//           so that keys which this version does not know are not lost.
//   Threads none of their own: plain values, to be copied and moved as one likes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "receiver_client/export.h"

namespace receiver {

enum class Role { kStart, kEnd, kOther };

// As it stands on the wire: "start", "end" or "other". Never fails.
RECEIVER_API const char* RoleName(Role role) noexcept;

// A recording to listen for; at least one of a request has the role kStart.
struct Reference {
    std::string id;  // 1..80 characters of A-Z a-z 0-9 - _; unique in the request
    Role role = Role::kStart;
    // As the receiver's process sees the file: 1..4096 bytes, no "://".
    std::string path;
};

struct ProgramLimits {
    uint32_t maximumMs = 0;  // 1000..3600000
    uint32_t fadeMs = 0;     // before the end, unless an end reference made it; 0..3600000
};

struct PrepareRequest {
    std::string sessionId;                // chosen by the caller, like a reference's id
    std::string url;                      // begins with "http://" or "https://"; at most 4096 bytes
    std::optional<uint32_t> ioTimeoutMs;  // 100..60000; by default 15000
    std::optional<uint32_t> blockBytes;   // 4..1048576; by default 8192
    std::optional<ProgramLimits> program;  // without it the audio runs to the source's end
    std::vector<Reference> references;     // 1..32
};

struct Match {
    std::string referenceId;
    Role role = Role::kOther;  // kOther, too, for one that this version does not know
    uint64_t sample = 0;       // where the reference begins
    uint64_t observedAfterSample = 0;
    double ber = 0;  // bit error rate: 0 is a perfect match, above 0.14 there is none
};

struct Program {
    uint64_t startSample = 0;
    uint64_t endSample = 0;
    uint32_t sampleRate = 0;
    uint64_t fadeFrames = 0;
    std::string reason;  // "maximum", "outro", "interrupted" or "source_ended"
};

struct BufferStatistics {
    uint64_t receivedBytes = 0;
    uint64_t retainedBytes = 0;
    uint64_t availableBytes = 0;  // ready to be read from the read position
    uint64_t firstSample = 0;     // oldest one held
    uint64_t readSample = 0;
    uint64_t nextSample = 0;  // the live edge
    uint32_t sampleRate = 0;
    uint32_t blockAlign = 0;  // bytes of one frame
    uint32_t error = 0;       // the source's error, 0 for none
    bool finished = false;    // the source has ended
};

struct SessionSnapshot {
    std::string sessionId;
    // "PREPARING", "SCANNING", "READY", "OPENED", "CANCELLING", "STOPPING" or "FINISHED".
    std::string state;
    uint64_t sequence = 0;  // of the newest event that it takes account of
    std::vector<Match> matches;
    std::optional<std::string> uri;        // of the audio pipe, while it waits for its client
    std::optional<uint64_t> sourceSample;  // the start, from READY on
    std::optional<Program> program;
    std::optional<uint32_t> sourceError;
    std::optional<BufferStatistics> buffer;
    std::string reason;   // once finished: "eof", "error" or "cancelled"
    std::string message;  // once finished: the cause of an error
    std::string raw;
};

struct Welcome {
    std::string instanceId;
    std::optional<SessionSnapshot> active;
    std::string raw;
};

struct ConnectedEvent {};  // the source is open
struct DetectedEvent {
    Match match;
};
struct ProgramEndEvent {
    Program program;
};
struct ReadyEvent {
    std::string uri;
    uint64_t sourceSample = 0;
};
struct SourceErrorEvent {
    uint32_t error = 0;
    bool canDrain = false;  // what is buffered will still be served
    uint64_t sourceEndSample = 0;
};
struct FinishedEvent {
    SessionSnapshot session;
};
struct UnknownEvent {};  // of a newer receiver; see raw

using EventBody = std::variant<UnknownEvent, ConnectedEvent, DetectedEvent, ProgramEndEvent,
                               ReadyEvent, SourceErrorEvent, FinishedEvent>;

struct Event {
    std::string type;
    std::string sessionId;  // empty if the event names none
    uint64_t sequence = 0;  // 1, 2, ... within the session; 0 if the event has none
    EventBody body;
    std::string raw;
};

}  // namespace receiver
