#include "platform/manual_reset_event.h"

#include <gtest/gtest.h>

#include <chrono>

#include "testing/test_task.h"

namespace receiver {
namespace {

TEST(ManualResetEvent, StartsUnsignalled) {
    const ManualResetEvent event;
    EXPECT_FALSE(event.IsSignalled());
    EXPECT_FALSE(event.Wait(0));
}

TEST(ManualResetEvent, StaysSignalledForEveryWait) {
    ManualResetEvent event;
    event.Signal();
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(UINT32_MAX));
    EXPECT_TRUE(event.IsSignalled());
}

TEST(ManualResetEvent, SignallingTwiceIsSignallingOnce) {
    ManualResetEvent event;
    event.Signal();
    event.Signal();
    EXPECT_TRUE(event.IsSignalled());
}

TEST(ManualResetEvent, AWaitWithoutASignalEndsNotBeforeItsTime) {
    const ManualResetEvent event;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(event.Wait(100));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
}

TEST(ManualResetEvent, ASignalFromAnotherThreadEndsAWait) {
    ManualResetEvent event;
    TestTask signaller("the signaller", [&event] { event.Signal(); });
    EXPECT_TRUE(event.Wait(UINT32_MAX));
    EXPECT_TRUE(event.IsSignalled());
    signaller.Get();
}

}  // namespace
}  // namespace receiver
