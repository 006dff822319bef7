#include "audio/arrival_clock.h"

#include <algorithm>

namespace receiver {

void ArrivalClock::Note(uint64_t frames, uint64_t nowMs) {
    const double leadMs = static_cast<double>(frames) * 1000.0 / rate_ - static_cast<double>(nowMs);
    if (leads_.empty()) firstMs_ = nowMs;
    if (leads_.empty() || leadMs > risenMs_ + kMaxRiseMs) {
        risenMs_ = leadMs;
        lastRiseMs_ = nowMs;
    }
    while (!leads_.empty() && leads_.back().leadMs <= leadMs) leads_.pop_back();
    // One for each time is enough: the first of them is the largest.
    if (leads_.empty() || leads_.back().atMs != nowMs) leads_.push_back({nowMs, leadMs});
    while (leads_.front().atMs + kWindowMs < nowMs) leads_.pop_front();
    if (!settled_ && nowMs >= lastRiseMs_ + kSettleMs) {
        settled_ = true;
        burstMs_ = LeadMs() + static_cast<double>(firstMs_);
    }
}

double ArrivalClock::StartOfNext(const ArrivalClock& next) const {
    if (!settled_) return static_cast<double>(next.firstMs_) - static_cast<double>(firstMs_);
    if (next.settled_) return LeadMs() - next.LeadMs();
    return LeadMs() - std::max(next.LeadMs(), burstMs_ - static_cast<double>(next.firstMs_));
}

}  // namespace receiver
