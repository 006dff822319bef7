// Reads the beginning of a new connection until it is known how it goes on with what was
// heard before: with the very next sample, or after the time that the clock says is missing.
// Private to audio/.
//
//   Units    frames; those of the stream count from its first connection's first.
//   Threads  one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "audio/live_connection.h"
#include "audio/splice.h"

namespace receiver {

// How much of a stream is kept to recognise it by, and how much of a beginning to find it in.
size_t MaxHistoryFrames(const ConnectionFormat& format);

struct HeardStream {
    PcmView history;     // the end of what was heard; what was heard before a gap is left out
    uint64_t end = 0;    // one past its last frame
    size_t held = 0;     // of its end, not yet delivered: a broken decoder's last may be wrong
    int64_t base = 0;    // where the last connection's first frame lies
    ArrivalClock clock;  // the last connection's
    std::optional<double> timeOfStart;  // the last connection's, if told
};

struct StreamJoint {
    bool found = false;           // otherwise it is by the clock
    bool exact = false;           // found by equality, and beyond doubt
    uint64_t at = 0;              // what was heard counts up to here
    uint64_t missingFrames = 0;   // follow as silence
    std::vector<int16_t> rest;    // follows that; never empty
    uint64_t repeatedFrames = 0;  // of the new connection, before `rest`
    int64_t base = 0;             // where the new connection's first frame lies in the stream
};

// Nothing when the connection broke off before it gave anything new.
std::optional<StreamJoint> JoinStream(const HeardStream& heard, LiveConnection& connection,
                                      const std::function<uint64_t()>& nowMs);

}  // namespace receiver
