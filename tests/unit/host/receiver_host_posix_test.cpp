// A console control event is a signal here, so the test process can send it to itself.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "running_host.h"

namespace receiver {
namespace {

class HostSignalTest : public ReceiverHostTest, public testing::WithParamInterface<int> {
protected:
    int ExitCodeAfterSignal() {
        std::raise(GetParam());
        return ExitCode();
    }
};

}  // namespace

TEST_P(HostSignalTest, EndsTheWaitForAClientCleanly) {
    Run();
    EXPECT_EQ(ExitCodeAfterSignal(), 0);
    EXPECT_NE(LogText().find("RECEIVER HOST_STOPPED"), std::string::npos);
}

TEST_P(HostSignalTest, StopsARunningSessionWhoseEndIsOnlyLogged) {
    Run();
    Introduce();
    ASSERT_EQ(Prepare()["command"], "PREPARE");
    ASSERT_TRUE(source_.WaitUntilOpening());
    EXPECT_EQ(ExitCodeAfterSignal(), 0);
    const std::string log = LogText();
    const size_t finished = log.find("RECEIVER FINISHED");
    ASSERT_NE(finished, std::string::npos);
    EXPECT_NE(log.find("reason=cancelled", finished), std::string::npos);
    EXPECT_NE(log.find("RECEIVER HOST_STOPPED", finished), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Signals, HostSignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& signal) {
                             return std::string(signal.param == SIGINT    ? "Interrupt"
                                                : signal.param == SIGTERM ? "Terminate"
                                                                          : "HangUp");
                         });

}  // namespace receiver
