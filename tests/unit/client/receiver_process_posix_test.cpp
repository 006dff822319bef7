// Programs of the system that are no receivers.
#include <gtest/gtest.h>

#include "receiver_client/receiver_process.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

using receiver::Cancellation;
using receiver::ErrorKind;
using receiver::ReceiverProcess;
using std::chrono::milliseconds;

constexpr milliseconds kLong(30000);

}  // namespace

TEST(ReceiverProcessPosix, AProgramThatSaysSomethingElseIsNoReceiver) {
    ReceiverProcess process{Cancellation()};
    EXPECT_FALSE(process.Start("/bin/echo", "receiver.log", kLong));
    EXPECT_EQ(process.LastError().kind, ErrorKind::kProtocol);
}

TEST(ReceiverProcessPosix, AProgramThatEndsTellsItsExitCode) {
    ReceiverProcess process{Cancellation()};
    EXPECT_FALSE(process.Start("/bin/false", "receiver.log", kLong));
    EXPECT_EQ(process.LastError().kind, ErrorKind::kSystem);
    EXPECT_NE(process.LastError().text.find("exit code 1"), std::string::npos);
}

// tail waits for a file named like the pipe to appear: it never listens.
TEST(ReceiverProcessPosix, ACancellationEndsTheWaitForAProgramThatNeverListens) {
    const Cancellation cancellation;
    ReceiverProcess process{cancellation};
    TestTask canceller("the canceller", [stop = cancellation]() mutable { stop.Cancel(); });
    EXPECT_FALSE(process.Start("/usr/bin/tail", "-F", kLong));
    canceller.Get();
    EXPECT_EQ(process.LastError().kind, ErrorKind::kCancelled);
}

TEST(ReceiverProcessPosix, AStartThatTimesOutCanBeWaitedForOn) {
    ReceiverProcess process{Cancellation()};
    EXPECT_FALSE(process.Start("/usr/bin/tail", "-F", milliseconds(0)));
    EXPECT_EQ(process.LastError().kind, ErrorKind::kTimedOut);
    EXPECT_TRUE(process.IsRunning());
    EXPECT_FALSE(process.AwaitListening(milliseconds(0)));
    EXPECT_EQ(process.LastError().kind, ErrorKind::kTimedOut);
    process.Terminate();
    EXPECT_EQ(process.WaitForExit(kLong), 128 + 15);
    EXPECT_FALSE(process.IsRunning());
}

TEST(ReceiverProcessPosix, WhatWasNotStartedIsNotRunningAndCannotBeTerminated) {
    ReceiverProcess process{Cancellation()};
    process.Terminate();
    EXPECT_FALSE(process.IsRunning());
}

}  // namespace receiver
