#include "platform/event.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

TEST(Event, StartsUnsignalled) {
    const CEvent event;
    EXPECT_FALSE(event.IsSignalled());
    EXPECT_FALSE(event.Wait(0));
}

TEST(Event, StaysSignalledForEveryWait) {
    CEvent event;
    event.Signal();
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(UINT32_MAX));
    EXPECT_TRUE(event.IsSignalled());
}

TEST(Event, SignallingTwiceIsSignallingOnce) {
    CEvent event;
    event.Signal();
    event.Signal();
    EXPECT_TRUE(event.IsSignalled());
}

TEST(Event, AWaitWithoutASignalEndsNotBeforeItsTime) {
    const CEvent event;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(event.Wait(100));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
}

TEST(Event, ASignalFromAnotherThreadEndsAWait) {
    CEvent event;
    std::thread signaller([&event] { event.Signal(); });
    EXPECT_TRUE(event.Wait(UINT32_MAX));
    EXPECT_TRUE(event.IsSignalled());
    signaller.join();
}

}  // namespace
