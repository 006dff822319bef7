#include <windows.h>

#include "platform/clock.h"

namespace receiver {

uint64_t TickMs() {
    return GetTickCount64();
}

uint64_t PerformanceCounter() {
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    return static_cast<uint64_t>(counter.QuadPart);
}

LocalTime GetLocalTimeNow() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    return {now.wYear,   now.wMonth,  now.wDay,         now.wHour,
            now.wMinute, now.wSecond, now.wMilliseconds};
}

}  // namespace receiver
