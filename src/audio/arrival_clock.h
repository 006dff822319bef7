// How far a live connection is ahead of the clock: what it has delivered, less the time that
// has passed. Deliveries come in pieces and late, never early, so that the largest lead of a
// while is that of the live edge itself, whatever burst the connection began with. Two
// connections to one station differ in their leads by what the second one begins later.
//
//   Units    positions are frames of the connection, from 0; times and leads are ms.
//   Threads  one at a time.
#pragma once

#include <cstdint>
#include <deque>

namespace receiver {

class ArrivalClock final {
public:
    // Of so much the lead is the largest: a station's clock and ours drift apart.
    static constexpr uint64_t kWindowMs = 60000;
    // A burst is over when the lead has not risen by more than kMaxRiseMs for kSettleMs.
    static constexpr uint64_t kSettleMs = 3000;
    static constexpr double kMaxRiseMs = 10.0;

    explicit ArrivalClock(uint32_t rate) : rate_(rate) {}

    // So many frames have been delivered in all; times never go back.
    void Note(uint64_t frames, uint64_t nowMs);

    bool HasBegun() const { return !leads_.empty(); }
    bool HasSettled() const { return settled_; }  // by the last Note
    // Where the first frame of a later connection to the same station lies in this one, in ms
    // of its audio. Both have begun. As long as a burst is not over, the two are taken to
    // begin with bursts of one length.
    double StartOfNext(const ArrivalClock& next) const;

private:
    struct Lead {
        uint64_t atMs;
        double leadMs;
    };

    double LeadMs() const { return leads_.front().leadMs; }

    uint32_t rate_;
    std::deque<Lead> leads_;  // of the window; each less than the one before
    uint64_t firstMs_ = 0;
    uint64_t lastRiseMs_ = 0;
    double risenMs_ = 0;  // the lead at the last rise
    double burstMs_ = 0;  // once settled
    bool settled_ = false;
};

}  // namespace receiver
