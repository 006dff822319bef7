// Waiting for descriptors up to a deadline of TickMs(). For the *_posix files.
#pragma once

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>

#include "platform/clock.h"

namespace receiver {

// Time-outs come from outside and may be as large as their type.
inline uint64_t DeadlineTickMs(uint64_t timeoutMs) {
    const uint64_t now = TickMs();
    return timeoutMs > UINT64_MAX - now ? UINT64_MAX : now + timeoutMs;
}

// As poll: how many of `fds` are ready, 0 once the deadline has passed, -1 with errno.
// A signal does not end the wait.
template <size_t kCount>
int PollUntil(std::array<pollfd, kCount>& fds, uint64_t deadlineTickMs) {
    while (true) {
        const uint64_t now = TickMs();
        const uint64_t remaining = deadlineTickMs > now ? deadlineTickMs - now : 0;
        const int step = static_cast<int>(std::min<uint64_t>(remaining, INT_MAX));
        const int ready = ::poll(fds.data(), kCount, step);
        if (ready > 0) return ready;
        if (ready < 0 && errno != EINTR) return ready;
        if (ready == 0 && TickMs() >= deadlineTickMs) return 0;
    }
}

}  // namespace receiver
