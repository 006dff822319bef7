#include <gtest/gtest.h>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"

namespace receiver {
namespace {

TEST(ChildProcessWin32, TerminateEndsTheChildWithTheCodeOfATermination) {
    const uint64_t soon = TickMs() + 10000;
    ChildProcess child((ExecutableDirectory() / "unit_platform_child").string(), {"wait"});
    ASSERT_EQ(child.ReadLine(soon), "waiting");
    child.Terminate();
    EXPECT_EQ(child.WaitForExit(soon), 143);
}

}  // namespace
}  // namespace receiver
