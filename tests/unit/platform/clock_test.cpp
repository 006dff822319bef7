#include "platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>

#include "platform/manual_reset_event.h"

namespace receiver {
namespace {

TEST(Clock, TickGoesOnByMilliseconds) {
    const ManualResetEvent never;
    const uint64_t start = TickMs();
    never.Wait(100);
    EXPECT_GE(TickMs() - start, 80u);  // a tick may step by 16 ms
}

TEST(Clock, PerformanceCounterGrows) {
    const ManualResetEvent never;
    const uint64_t start = PerformanceCounter();
    never.Wait(1);
    EXPECT_GT(PerformanceCounter(), start);
}

TEST(Clock, LocalTimeIsTheTimeOfTheLocalZone) {
    // Midnight or an hour may pass between the two readings, but not twice.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const LocalTime time = GetLocalTimeNow();
        const std::time_t now = std::time(nullptr);
        const std::tm local = *std::localtime(&now);
        if (time.minute != static_cast<unsigned>(local.tm_min)) continue;
        EXPECT_EQ(time.year, static_cast<unsigned>(local.tm_year + 1900));
        EXPECT_EQ(time.month, static_cast<unsigned>(local.tm_mon + 1));
        EXPECT_EQ(time.day, static_cast<unsigned>(local.tm_mday));
        EXPECT_EQ(time.hour, static_cast<unsigned>(local.tm_hour));
        EXPECT_LT(time.millisecond, 1000u);
        return;
    }
    FAIL() << "the minutes never agreed";
}

}  // namespace
}  // namespace receiver
