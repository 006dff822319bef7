// Waits up to a deadline of TickMs(). For the *_win32 files.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>

#include "platform/clock.h"

namespace receiver {

// What is left until the deadline; never INFINITE.
inline DWORD RemainingMs(uint64_t deadlineTickMs) {
    const uint64_t now = TickMs();
    const uint64_t remaining = deadlineTickMs > now ? deadlineTickMs - now : 0;
    return static_cast<DWORD>(std::min<uint64_t>(remaining, INFINITE - 1));
}

}  // namespace receiver
