// Whether a recording that ended before its programme began is begun again, and after which
// pause: a station that is not there yet is tried for a while, and a receiver that has died is
// replaced. Pure.
//
//   Units  times ms, of one clock.
#pragma once

#include <cstdint>
#include <optional>

#include "receiver_client/messages.h"

namespace receiver {

struct AttemptEnd {
    bool receiverLost = false;   // it died, or does not answer, and can be replaced
    bool connected = false;      // the source was open
    std::optional<Cause> cause;  // why the session failed
};

class Attempts final {
public:
    // One that lived shorter has died at its start: after so many in a row there are no more.
    static constexpr uint64_t kMinLifeMs = 10000;
    static constexpr int kMaxEarlyDeaths = 3;
    static constexpr uint64_t kMaxPauseMs = 5000;

    Attempts(uint32_t reconnectMs, uint64_t now)
        : reconnectMs_(reconnectMs), firstMs_(now), beganMs_(now) {}

    void Begin(uint64_t now) { beganMs_ = now; }
    // There was audio until now: the time for a station that is away begins anew, and whatever
    // it answers may pass as it came.
    void Restart(uint64_t now) {
        hasHadAudio_ = true;
        firstMs_ = now;
        pauseMs_ = 0;
    }
    // The pause before the next attempt; nothing when there is none.
    std::optional<uint64_t> PauseAfter(const AttemptEnd& end, uint64_t now);

private:
    uint64_t NextPause();

    const uint32_t reconnectMs_;
    uint64_t firstMs_;
    uint64_t beganMs_;
    uint64_t pauseMs_ = 0;
    int earlyDeaths_ = 0;
    bool hasHadAudio_ = false;
};

}  // namespace receiver
