// What befell the stream: lost connections, damage, the station's titles and name. Pure. Of each
// kind the newest are kept, so that waiting for days does not grow.
//
//   Units  samples as in receiver_client/messages.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "receiver_client/messages.h"

namespace receiver {

// Of all that was noted, kept or not.
struct StreamTotals {
    uint64_t reconnections = 0;
    uint64_t outageMs = 0;
    uint64_t gaps = 0;  // reconnections with a loss
    uint64_t lostFrames = 0;
    uint64_t damages = 0;
};

class StreamNotes final {
public:
    static constexpr size_t kMaxKept = 500;

    void Add(const Resumption& resumption);
    void Add(const DamagedEvent& damage);
    void Add(const TitleEvent& title);
    void Add(const StationEvent& station);

    const std::deque<Resumption>& Resumptions() const { return resumptions_; }
    const std::deque<DamagedEvent>& Damages() const { return damages_; }
    const std::deque<TitleEvent>& Titles() const { return titles_; }
    // What it calls itself; empty where it does not say so.
    const std::string& Station() const { return station_; }
    const StreamTotals& Totals() const { return totals_; }

    // What lies in these samples; of the titles also the one that holds at `begin`.
    StreamNotes Within(uint64_t begin, uint64_t end) const;
    // What the station says that it plays there; empty when it says nothing.
    std::string TitleAt(uint64_t sample) const;

private:
    std::deque<Resumption> resumptions_;
    std::deque<DamagedEvent> damages_;
    std::deque<TitleEvent> titles_;
    std::string station_;  // the newest
    StreamTotals totals_;
};

// What a programme with these notes lacks, in words: "3.1 s are missing in 1 place, and 2 places
// are damaged". Empty when it lacks nothing.
std::string DescribeLosses(const StreamNotes& notes);
// Seconds with one decimal, of frames.
std::string FormatSeconds(uint64_t frames);

}  // namespace receiver
