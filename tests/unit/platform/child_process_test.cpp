#include "platform/child_process.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/clock.h"
#include "platform/executable_path.h"

namespace receiver {
namespace {

using ErrorStream = ChildProcess::ErrorStream;

uint64_t Soon() {
    return TickMs() + 10000;
}

std::string Program() {
    return (ExecutableDirectory() / "unit_platform_child").string();
}

TEST(ChildProcess, GivesItsOutputLineByLine) {
    ChildProcess child(Program(), {"echo", "one", "two"});
    EXPECT_EQ(child.ReadLine(Soon()), "one");
    EXPECT_EQ(child.ReadLine(Soon()), "two");
    EXPECT_EQ(child.ReadLine(Soon()), std::nullopt);
    EXPECT_EQ(child.WaitForExit(Soon()), 0);
}

TEST(ChildProcess, ArgumentsArriveAsTheyAre) {
    const std::vector<std::string> arguments{
        "",      " ",      "two words", "a\"b",      "\"",        "back\\slash",
        "end\\", "end \\", "\\\\\"",    "tab\there", "$HOME %X%", "*",
    };
    std::vector<std::string> all{"echo"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    ChildProcess child(Program(), all);
    for (const std::string& argument : arguments) EXPECT_EQ(child.ReadLine(Soon()), argument);
    EXPECT_EQ(child.ReadLine(Soon()), std::nullopt);
}

TEST(ChildProcess, ALastLineMayLackItsLineEnd) {
    ChildProcess child(Program(), {"unfinished"});
    EXPECT_EQ(child.ReadLine(Soon()), "one");
    EXPECT_EQ(child.ReadLine(Soon()), "two");
    EXPECT_EQ(child.ReadLine(Soon()), std::nullopt);
}

TEST(ChildProcess, ReadAllGivesWhatTheLinesLeft) {
    ChildProcess child(Program(), {"echo", "one", "two", "three"});
    EXPECT_EQ(child.ReadLine(Soon()), "one");
    EXPECT_EQ(child.ReadAllOutput(Soon()), "two\nthree\n");
}

TEST(ChildProcess, CapturesTheErrorStreamApart) {
    ChildProcess child(Program(), {"errors"}, ErrorStream::kCapture);
    EXPECT_EQ(child.ReadErrorLine(Soon()), "error one");
    EXPECT_EQ(child.ReadAllErrors(Soon()), "error two\n");
    EXPECT_EQ(child.ReadAllOutput(Soon()), "output\n");
}

TEST(ChildProcess, AnErrorStreamThatIsNotCapturedIsAtItsEnd) {
    ChildProcess child(Program(), {"errors"}, ErrorStream::kNull);
    EXPECT_EQ(child.ReadErrorLine(Soon()), std::nullopt);
    EXPECT_EQ(child.ReadAllErrors(Soon()), "");
    EXPECT_EQ(child.ReadAllOutput(Soon()), "output\n");
}

TEST(ChildProcess, ItsInputIsEmpty) {
    ChildProcess child(Program(), {"input"});
    EXPECT_EQ(child.ReadLine(Soon()), "read 0");
}

TEST(ChildProcess, TellsTheExitCode) {
    ChildProcess child(Program(), {"exit", "42"});
    EXPECT_EQ(child.WaitForExit(Soon()), 42);
    EXPECT_EQ(child.WaitForExit(TickMs()), 42);
}

TEST(ChildProcess, AChildThatSaysMuchDoesNotBlockTheWaitForItsExit) {
    ChildProcess child(Program(), {"flood"}, ErrorStream::kCapture);
    EXPECT_EQ(child.WaitForExit(Soon()), 0);
    EXPECT_EQ(child.ReadAllOutput(Soon()).value_or("").size(), 1'000'000u);
    EXPECT_EQ(child.ReadAllErrors(Soon()).value_or("").size(), 1'000'000u);
}

TEST(ChildProcess, EveryWaitEndsAtItsDeadline) {
    ChildProcess child(Program(), {"wait"}, ErrorStream::kCapture);
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");
    EXPECT_EQ(child.ReadLine(TickMs() + 20), std::nullopt);
    EXPECT_EQ(child.ReadErrorLine(TickMs() + 20), std::nullopt);
    EXPECT_EQ(child.ReadAllOutput(TickMs() + 20), std::nullopt);
    EXPECT_EQ(child.WaitForExit(TickMs() + 20), std::nullopt);
}

TEST(ChildProcess, KillEndsAChildThatWouldGoOn) {
    ChildProcess child(Program(), {"wait"});
    ASSERT_EQ(child.ReadLine(Soon()), "waiting");
    child.Kill();
    EXPECT_EQ(child.WaitForExit(Soon()), 137);
}

// The grandchild's share of the error stream ends with it.
TEST(ChildProcess, EndsWithAParentThatIsKilled) {
    ChildProcess parent(Program(), {"parent"}, ErrorStream::kCapture);
    ASSERT_EQ(parent.ReadLine(Soon()), "waiting");
    parent.Kill();
    EXPECT_NE(parent.ReadAllErrors(Soon()), std::nullopt);
}

TEST(ChildProcess, SignalsToAChildThatHasEndedDoNothing) {
    ChildProcess child(Program(), {"exit", "0"});
    ASSERT_EQ(child.WaitForExit(Soon()), 0);
    child.Interrupt();
    child.Terminate();
    child.Kill();
    EXPECT_EQ(child.WaitForExit(Soon()), 0);
}

TEST(ChildProcess, AProgramThatDoesNotExistCannotBeStarted) {
    try {
        const ChildProcess child("./no-such-program", {});
        FAIL() << "started";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Cannot start ./no-such-program");
    }
}

TEST(ChildProcess, HasAProcessId) {
    ChildProcess first(Program(), {"exit", "0"});
    ChildProcess second(Program(), {"exit", "0"});
    EXPECT_NE(first.ProcessId(), 0u);
    EXPECT_NE(first.ProcessId(), second.ProcessId());
}

}  // namespace
}  // namespace receiver
