#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "testing/forked_child_posix.h"
#include "testing/process_probe_posix.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

uint64_t Soon() {
    return TickMs() + 10000;
}

std::string Program() {
    return (ExecutableDirectory() / "unit_platform_child").string();
}

TEST(ChildProcessPosix, InterruptAsksForACleanEnd) {
    ChildProcess child(Program(), {"wait"});
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");
    child.Interrupt();
    EXPECT_EQ(child.WaitForExit(Soon()), 3);
}

// As a shell starts its background jobs.
TEST(ChildProcessPosix, AChildThatIgnoresInterruptsIsAskedToEnd) {
    ChildProcess child("/bin/sh", {"-c", "trap '' INT; exec \"$@\"", "sh", Program(), "wait"});
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");
    child.AskToEnd();
    EXPECT_EQ(child.WaitForExit(Soon()), 3);
}

TEST(ChildProcessPosix, TerminateAsksForACleanEnd) {
    ChildProcess child(Program(), {"wait"});
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");
    child.Terminate();
    EXPECT_EQ(child.WaitForExit(Soon()), 3);
}

TEST(ChildProcessPosix, ItsEndKillsAndReapsTheChild) {
    pid_t pid = 0;
    {
        ChildProcess child(Program(), {"wait"});
        ASSERT_EQ(child.ReadLine(Soon()), "waiting");
        pid = static_cast<pid_t>(child.ProcessId());
        ASSERT_EQ(kill(pid, 0), 0);
    }
    EXPECT_EQ(kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(ChildProcessPosix, TheChildLeadsAGroupOfItsOwn) {
    ChildProcess child(Program(), {"wait"});
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");
    EXPECT_EQ(getpgid(static_cast<pid_t>(child.ProcessId())),
              static_cast<pid_t>(child.ProcessId()));
}

TEST(ChildProcessPosix, ASignalThatTheParentIgnoresReachesTheChild) {
    const auto previous = signal(SIGINT, SIG_IGN);
    ChildProcess child("sleep", {"60"});
    signal(SIGINT, previous);
    child.Interrupt();
    EXPECT_EQ(child.WaitForExit(Soon()), 128 + SIGINT);
}

// Ignored by nohup, for the child as well.
TEST(ChildProcessPosix, AHangUpThatTheParentIgnoresStaysIgnored) {
    const auto previous = signal(SIGHUP, SIG_IGN);
    ChildProcess child(Program(), {"wait"});
    signal(SIGHUP, previous);
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");
    EXPECT_TRUE(IgnoresSignal(child.ProcessId(), SIGHUP));
    EXPECT_FALSE(IgnoresSignal(child.ProcessId(), SIGINT));
}

TEST(ChildProcessPosix, AKilledParentLeavesItsChildTheTimeForACleanEnd) {
    ChildProcess parent(Program(), {"parent"}, ChildProcess::ErrorStream::kCapture);
    ASSERT_EQ(parent.ReadLine(Soon()), "waiting");
    parent.Kill();
    EXPECT_EQ(parent.ReadAllErrors(Soon()), "asked to end\n");
}

TEST(ChildProcessPosix, OutlivesTheThreadThatStartedIt) {
    constexpr uint64_t kTimeForASignalMs = 200;
    std::optional<ChildProcess> child;
    TestTask("the starter", [&] {
        child.emplace(Program(), std::vector<std::string>{"wait"});
    }).Get();
    ASSERT_EQ(child->ReadLine(Soon()), "waiting");
    EXPECT_EQ(child->WaitForExit(TickMs() + kTimeForASignalMs), std::nullopt);
}

// Its pipes then lie where the child's standard streams will.
TEST(ChildProcessPosix, AParentWithoutStandardStreamsCanUseAChild) {
    ForkedChild parent([] {
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(fd);
        ChildProcess child(Program(), {"errors"}, ChildProcess::ErrorStream::kCapture);
        const bool isWhole = child.ReadAllErrors(Soon()) == "error one\nerror two\n" &&
                             child.ReadAllOutput(Soon()) == "output\n";
        return isWhole ? 0 : 1;
    });
    EXPECT_EQ(parent.ExitCode(), 0);
}

// A child that held an end of another's pipe would keep the reader from seeing its end.
TEST(ChildProcessPosix, AChildDoesNotInheritThePipesOfAnother) {
    ChildProcess other(Program(), {"wait"}, ChildProcess::ErrorStream::kCapture);
    ChildProcess child(Program(), {"wait"}, ChildProcess::ErrorStream::kCapture);
    ASSERT_EQ(other.ReadLine(Soon()), "waiting");
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");

    size_t pipesOfOther = 0;
    for (const std::string& descriptor : DescriptorsOf(other.ProcessId())) {
        if (!descriptor.starts_with("1 pipe:") && !descriptor.starts_with("2 pipe:")) continue;
        ++pipesOfOther;
        const std::string pipe = descriptor.substr(2);
        for (const std::string& held : DescriptorsOf(child.ProcessId())) {
            EXPECT_FALSE(held.ends_with(" " + pipe)) << held;
        }
    }
    EXPECT_EQ(pipesOfOther, 2u);
}

TEST(ChildProcessPosix, ChildrenLeaveNoDescriptors) {
    { ChildProcess(Program(), {"exit", "0"}).WaitForExit(Soon()); }
    const size_t before = DescriptorsOf(getpid()).size();
    for (int i = 0; i < 20; ++i) {
        ChildProcess child(Program(), {"errors"}, ChildProcess::ErrorStream::kCapture);
        EXPECT_EQ(child.WaitForExit(Soon()), 0);
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_THROW(ChildProcess("./no-such-program", {}), std::runtime_error);
    }
    EXPECT_EQ(DescriptorsOf(getpid()).size(), before);
}

}  // namespace
}  // namespace receiver
