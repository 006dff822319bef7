// One connection of a source that has several, one after the other: what it delivers, when,
// and how it ends. Private to audio/.
//
//   Units    frames of the connection; times are ms.
//   Threads  one at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "audio/arrival_clock.h"
#include "audio/reconnecting_audio_file.h"

namespace receiver {

class LiveConnection final {
public:
    // `nowMs` outlives the object.
    LiveConnection(SourceConnection source, const std::function<uint64_t()>& nowMs);

    // Fails, too, unless the source delivers 16-bit PCM of kMaxChannels at most in this
    // format; zeros stand for any. The rest is for an open one.
    bool Open(const std::string& path, const ConnectionFormat& format);
    // Appends a few frames as soon as they are in. What the file gave: 0 or less when it has
    // ended, once and for all.
    int32_t Read(std::vector<int16_t>& samples);

    // What the file has told since the last call.
    std::vector<ConnectionNote> TakeNotes();

    const ConnectionFormat& Format() const { return format_; }
    const ArrivalClock& Clock() const { return clock_; }
    // Of its first frame, in seconds of the broadcast's own time, as far as that is told.
    std::optional<double> TimeOfStart() const {
        return source_.timeOfStart ? source_.timeOfStart() : std::nullopt;
    }
    const SourceBreak& Break() const { return break_; }

private:
    static constexpr uint16_t kMaxChannels = 64;

    void NoteBreak(SourceBreak::Phase phase);

    SourceConnection source_;
    const std::function<uint64_t()>& nowMs_;
    ConnectionFormat format_;
    ArrivalClock clock_{1};
    uint64_t frames_ = 0;
    SourceBreak break_;
};

}  // namespace receiver
