#include "platform/process_watch.h"

#include <gtest/gtest.h>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "platform/ids.h"

namespace receiver {
namespace {

constexpr uint32_t kSoonMs = 10000;

TEST(ProcessWatch, SeesTheEndOfAnotherProcess) {
    ChildProcess child((ExecutableDirectory() / "unit_platform_child").string(), {"wait"});
    ASSERT_EQ(child.ReadLine(TickMs() + kSoonMs), "waiting");
    const std::unique_ptr<ProcessWatch> watch = WatchProcess(child.ProcessId());
    EXPECT_FALSE(watch->WaitForEnd(0));
    EXPECT_FALSE(watch->WaitForEnd(1));
    child.Kill();
    EXPECT_TRUE(watch->WaitForEnd(kSoonMs));
    EXPECT_TRUE(watch->WaitForEnd(0));
}

TEST(ProcessWatch, ANumberThatNobodyHasIsThatOfAProcessThatHasEnded) {
    EXPECT_TRUE(WatchProcess(4194304 + 1)->WaitForEnd(0));  // beyond what systems give out
}

TEST(ProcessWatch, WhatCannotBeWatchedCountsAsLiving) {
    EXPECT_FALSE(WatchProcess(0)->WaitForEnd(1));
    EXPECT_FALSE(WatchProcess(CurrentProcessId())->WaitForEnd(1));
}

}  // namespace
}  // namespace receiver
