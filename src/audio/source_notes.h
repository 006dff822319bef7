// What a source has to tell besides its audio: how it failed, where it was lost and found
// again, where it is damaged, what it and its titles are called. Plain records.
//
//   Units    "sample" counts frames of the audio that is handed on; times are ms.
//   Threads  the callbacks run on the thread that reads the source, from within its Open
//            and Read, without locks of the source.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace receiver {

struct SourceFailure {
    enum class Kind {
        kNameLookup,   // the host's name has no address, or nobody answered for it
        kRefused,      // the host does not take connections there
        kUnreachable,  // no way to the host
        kTls,          // no trusted, encrypted connection
        kHttp,         // the server said so: httpStatus
        kTimeout,      // nothing came within the time-out
        kNotAudio,     // what came is no audio that we can read
        kEnded,        // it ended as a stream of a known end does
        kReset,        // the connection was broken off
        kOther,
    };
    Kind kind = Kind::kOther;
    int httpStatus = 0;  // 0: none was received
    std::string text;    // UTF-8, one line, for people
};

// A lost source was opened again and goes on at `sample`.
struct SourceResumption {
    uint64_t sample = 0;
    uint64_t outageMs = 0;        // without audio, by the clock
    uint64_t repeatedFrames = 0;  // heard before, and left out
    uint64_t lostFrames = 0;      // silence in their place
    uint32_t attempts = 0;        // openings, with the one that succeeded
    bool exact = false;           // what both connections delivered was equal
    SourceFailure cause;          // how it was lost
};

struct SourceDamage {
    enum class Kind {
        kUndecodable,    // packets that the decoder refused
        kDiscontinuity,  // time stamps that jump: what lies between never came
    };
    Kind kind = Kind::kUndecodable;
    uint64_t sample = 0;  // where it is heard
    uint64_t frames = 0;  // how much is missing there; 0 when that is not known
};

struct SourceTitle {
    uint64_t sample = 0;
    std::string title;  // UTF-8
};

// What the station calls itself; told again when the name changes.
struct SourceStation {
    uint64_t sample = 0;
    std::string name;  // UTF-8, not empty
};

// Any of them may be empty.
struct SourceNotes {
    std::function<void(const SourceFailure&)> onFailure;  // before the call that fails returns
    std::function<void(const SourceResumption&)> onResumed;
    std::function<void(const SourceDamage&)> onDamage;
    std::function<void(const SourceTitle&)> onTitle;
    std::function<void(const SourceStation&)> onStation;
};

}  // namespace receiver
