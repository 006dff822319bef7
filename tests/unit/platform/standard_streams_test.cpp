#include "platform/standard_streams.h"

#include <gtest/gtest.h>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"

namespace receiver {
namespace {

// By a child's pipe, where a stream of the C runtime would hold lines back and translate
// line ends.
TEST(StandardStreams, LinesEndInALineFeedAlone) {
    ChildProcess child((ExecutableDirectory() / "unit_platform_child").string(), {"errors"},
                       ChildProcess::ErrorStream::kCapture);
    EXPECT_EQ(child.ReadAllOutput(TickMs() + 10000), "output\n");
    EXPECT_EQ(child.ReadAllErrors(TickMs() + 10000), "error one\nerror two\n");
}

TEST(StandardStreams, ALineIsOutAtOnce) {
    ChildProcess child((ExecutableDirectory() / "unit_platform_child").string(), {"wait"});
    EXPECT_EQ(child.ReadLine(TickMs() + 10000), "waiting");
}

}  // namespace
}  // namespace receiver
