#include "receiver_record/control/attempts.h"

#include <algorithm>

#include "receiver_record/control/cause_texts.h"

namespace receiver {
namespace {

constexpr uint64_t kFirstPauseMs = 500;

}  // namespace

std::optional<uint64_t> Attempts::PauseAfter(const AttemptEnd& end, uint64_t now) {
    if (end.receiverLost) {
        earlyDeaths_ = now - beganMs_ < kMinLifeMs ? earlyDeaths_ + 1 : 0;
        if (earlyDeaths_ >= kMaxEarlyDeaths) return {};
        return earlyDeaths_ == 0 ? 0 : kFirstPauseMs;
    }
    const bool mayPass = end.cause && (hasHadAudio_ || PassesByItself(*end.cause));
    const bool isAbsent = !end.connected && mayPass;
    if (!isAbsent || now - firstMs_ >= reconnectMs_) return {};
    return std::min(NextPause(), firstMs_ + reconnectMs_ - now);
}

uint64_t Attempts::NextPause() {
    pauseMs_ = pauseMs_ == 0 ? kFirstPauseMs : std::min(pauseMs_ * 2, kMaxPauseMs);
    return pauseMs_;
}

}  // namespace receiver
