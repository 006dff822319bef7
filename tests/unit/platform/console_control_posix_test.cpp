#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <stdexcept>

#include "platform/console_control.h"

namespace receiver {
namespace {

using Handler = void (*)(int);

Handler CurrentHandler(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler;
}

// The tests themselves may run where some of these are ignored.
class ConsoleControlPosixTest : public testing::Test {
protected:
    void SetUp() override {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) ::signal(signal, SIG_DFL);
    }
};

TEST_F(ConsoleControlPosixTest, EachRequestToEndSignalsTheEvent) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ManualResetEvent event;
        const ConsoleControl control(event);
        ASSERT_EQ(raise(signal), 0);
        EXPECT_TRUE(event.IsSignalled()) << signal;
    }
}

TEST_F(ConsoleControlPosixTest, ARequestThatIsIgnoredAtTheStartStaysIgnored) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ::signal(signal, SIG_IGN);
        {
            ManualResetEvent event;
            const ConsoleControl control(event);
            EXPECT_EQ(CurrentHandler(signal), SIG_IGN);
            ASSERT_EQ(raise(signal), 0);
            EXPECT_FALSE(event.IsSignalled()) << signal;
        }
        EXPECT_EQ(CurrentHandler(signal), SIG_IGN);
    }
}

TEST_F(ConsoleControlPosixTest, ABrokenPipeDoesNotEndTheProcessNorSignal) {
    ManualResetEvent event;
    const ConsoleControl control(event);
    ASSERT_EQ(raise(SIGPIPE), 0);
    EXPECT_FALSE(event.IsSignalled());
}

TEST_F(ConsoleControlPosixTest, ItsEndPutsBackWhatWasSet) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        const Handler before = CurrentHandler(signal);
        {
            ManualResetEvent event;
            const ConsoleControl control(event);
            EXPECT_NE(CurrentHandler(signal), before);
        }
        EXPECT_EQ(CurrentHandler(signal), before);
    }
}

TEST_F(ConsoleControlPosixTest, TheHandlerLeavesErrnoAlone) {
    ManualResetEvent event;
    const ConsoleControl control(event);
    errno = ENOENT;
    ASSERT_EQ(raise(SIGINT), 0);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace receiver
