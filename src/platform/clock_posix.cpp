#include <ctime>

#include "platform/clock.h"

namespace receiver {
namespace {

uint64_t Nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(now.tv_nsec);
}

}  // namespace

// The clock that goes on while the machine sleeps, as the tick of Windows does.
uint64_t TickMs() {
    return Nanoseconds(CLOCK_BOOTTIME) / 1'000'000;
}

uint64_t PerformanceCounter() {
    return Nanoseconds(CLOCK_MONOTONIC);
}

LocalTime GetLocalTimeNow() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    LocalTime time{};
    time.year = static_cast<unsigned>(local.tm_year + 1900);
    time.month = static_cast<unsigned>(local.tm_mon + 1);
    time.day = static_cast<unsigned>(local.tm_mday);
    time.hour = static_cast<unsigned>(local.tm_hour);
    time.minute = static_cast<unsigned>(local.tm_min);
    time.second = static_cast<unsigned>(local.tm_sec);
    time.millisecond = static_cast<unsigned>(now.tv_nsec / 1'000'000);
    return time;
}

}  // namespace receiver
