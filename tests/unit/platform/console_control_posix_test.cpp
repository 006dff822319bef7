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

TEST(ConsoleControlPosix, EachRequestToEndSignalsTheEvent) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ManualResetEvent event;
        const ConsoleControl control(event);
        ASSERT_EQ(raise(signal), 0);
        EXPECT_TRUE(event.IsSignalled()) << signal;
    }
}

TEST(ConsoleControlPosix, ABrokenPipeDoesNotEndTheProcessNorSignal) {
    ManualResetEvent event;
    const ConsoleControl control(event);
    ASSERT_EQ(raise(SIGPIPE), 0);
    EXPECT_FALSE(event.IsSignalled());
}

TEST(ConsoleControlPosix, ItsEndPutsBackWhatWasSet) {
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

TEST(ConsoleControlPosix, TheHandlerLeavesErrnoAlone) {
    ManualResetEvent event;
    const ConsoleControl control(event);
    errno = ENOENT;
    ASSERT_EQ(raise(SIGINT), 0);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace receiver
