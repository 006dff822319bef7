// What travels on the control pipe, as records: requests, replies and events.
// docs/protocol.md describes each of them. Pure data.
//
//   Units   samples are frames of the decoded stream at 44100 Hz, counted from its
//           first frame; times ms; sizes bytes.
//   Bounds  of a request are the receiver's, which rejects what lies outside.
//   Additions  what a request may ask for beyond the basic one. A receiver that does not know them
//           ignores them: MissingAdditions tells.
//   Raw     every `raw` holds the object that was received, as compact JSON text in UTF-8,
//           so that keys which this version does not know are not lost.
//   Threads none of their own: plain values, to be copied and moved as one likes.
#pragma once

#include <cstdint>
#include <map>
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

// Which further things are told; each is an addition to what is told anyway.
struct ReportOptions {
    bool cause = false;    // SourceErrorEvent, FinishedEvent and ResumedEvent say why
    bool damage = false;   // DamagedEvent
    bool titles = false;   // TitleEvent
    bool station = false;  // StationEvent
};

// What is said to the source's server. Written to no log.
struct HttpOptions {
    std::string userAgent;  // 1..256 bytes, no control characters; empty: the usual one
    // Up to 32 header fields, name to value, of at most 4096 bytes each.
    std::map<std::string, std::string> headers;
    std::string caFile;  // PEM, as the receiver's process sees it; empty: the system's
};

struct PrepareRequest {
    std::string sessionId;                // chosen by the caller, like a reference's id
    std::string url;                      // begins with "http://" or "https://"; at most 4096 bytes
    std::optional<uint32_t> ioTimeoutMs;  // 100..60000; by default 15000
    std::optional<uint32_t> blockBytes;   // 4..1048576; by default 8192
    std::optional<ProgramLimits> program;  // without it the audio runs to the source's end
    std::vector<Reference> references;     // 1..32; with startNow none is needed

    // The additions.
    std::optional<uint32_t> lookBackMs;   // held before a start was heard; 1000..3600000
    std::optional<uint32_t> reconnectMs;  // a lost source is opened again; 0..86400000
    // With reconnectMs: not what never opened, nor what ended where it had told.
    bool reconnectLostOnly = false;
    bool startNow = false;              // the programme begins with the first sample
    std::optional<uint32_t> preRollMs;  // served before the start; 0..60000
    ReportOptions report;
    HttpOptions http;
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

// Why something failed; only where ReportOptions::cause asked for it.
struct Cause {
    // "name_lookup", "refused", "unreachable", "tls", "http", "timeout", "not_audio", "ended",
    // "reset", "reference", "memory", "audio_pipe" or "other".
    std::string kind;
    std::string text;                        // one line for people
    std::optional<uint32_t> status;          // of "http": the server's answer
    std::optional<std::string> referenceId;  // of "reference"
};

// A source that was lost and opened again.
struct Resumption {
    uint64_t sample = 0;  // where the new connection, or the silence before it, begins
    uint64_t outageMs = 0;
    uint64_t repeatedFrames = 0;  // heard before, and left out
    uint64_t lostFrames = 0;      // silence in their place
    uint64_t attempts = 0;        // openings
    bool exact = false;           // both connections brought the same samples up to the joint
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
    // The keys of the request's additions; nothing when it asked for none, or of a receiver that
    // does not know them.
    std::optional<std::vector<std::string>> additions;
    std::optional<uint64_t> servedSample;  // from READY on, with preRollMs: the audio's first
    std::vector<Resumption> gaps;          // with reconnectMs; the newest 64
    std::optional<Cause> cause;            // once finished with an error
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
    std::optional<uint64_t> servedSample;  // with preRollMs: the audio's first sample
};
struct SourceErrorEvent {
    uint32_t error = 0;
    bool canDrain = false;  // what is buffered will still be served
    uint64_t sourceEndSample = 0;
    std::optional<Cause> cause;
};
struct FinishedEvent {
    SessionSnapshot session;
};
// With reconnectMs: the source is back.
struct ResumedEvent {
    Resumption resumption;
    std::optional<Cause> cause;  // of the loss
};
// With ReportOptions::damage: audio is missing or spoilt.
struct DamagedEvent {
    uint64_t sample = 0;
    uint64_t frames = 0;  // how much is missing; 0 where that is not known
    std::string kind;     // "undecodable" or "discontinuity"
};
// With ReportOptions::titles: what the station says that it plays from here on.
struct TitleEvent {
    uint64_t sample = 0;
    std::string title;  // empty: it says that there is none
};
// With ReportOptions::station: what the station calls itself, where it says so.
struct StationEvent {
    uint64_t sample = 0;  // from there on
    std::string name;     // not empty
};
struct UnknownEvent {};  // of a newer receiver; see raw

using EventBody = std::variant<UnknownEvent, ConnectedEvent, DetectedEvent, ProgramEndEvent,
                               ReadyEvent, SourceErrorEvent, FinishedEvent, ResumedEvent,
                               DamagedEvent, TitleEvent, StationEvent>;

struct Event {
    std::string type;
    std::string sessionId;  // empty if the event names none
    uint64_t sequence = 0;  // 1, 2, ... within the session; 0 if the event has none
    EventBody body;
    std::string raw;
};

// The keys of the additions that the request asks for and the receiver did not take, in the
// spelling of the wire: empty when it knows them all. `session` is what answered the request, or
// any later snapshot of the same session. RecordProgram looks by itself.
RECEIVER_API std::vector<std::string> MissingAdditions(const PrepareRequest& request,
                                                       const SessionSnapshot& session);

}  // namespace receiver
