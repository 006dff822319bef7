// What takes signals, and the receiver's process, to show: one programme after another, and a
// receiver that dies before one has begun.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>

#include "platform/clock.h"
#include "record_run.h"
#include "testing/process_probe_posix.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class RepeatTest : public testing::Test, public RecordRun {
protected:
    std::unique_ptr<ChildProcess> Start(const std::vector<std::string>& further) const {
        return std::make_unique<ChildProcess>(RecordProgram(), Arguments(further),
                                              ChildProcess::ErrorStream::kCapture);
    }
    static std::optional<int> Exit(ChildProcess& process) {
        return process.WaitForExit(TickMs() + kRunPatienceMs);
    }
    static std::string TimeInTwoSeconds() {
        const LocalTime now = GetLocalTimeNow();
        const unsigned second = (now.hour * 3600 + now.minute * 60 + now.second + 2) % 86400;
        char text[16];
        std::snprintf(text, sizeof(text), "%02u:%02u:%02u", second / 3600, second / 60 % 60,
                      second % 60);
        return text;
    }
};

}  // namespace

TEST_F(RepeatTest, ProgrammesFollowEachOtherInFilesOfTheirOwnByOneReceiver) {
    Serve();
    const auto process = Start({"--max", "1s", "--repeat", "-o", folder_.File("{id} {n}.wav")});
    ASSERT_TRUE(WaitForErrorLine(*process, "Complete: "));
    const long receiver = ChildOf(process->ProcessId());
    for (int programme = 2; programme <= 4; ++programme) {
        ASSERT_TRUE(WaitForErrorLine(*process, "Complete: ")) << programme;
    }
    EXPECT_EQ(ChildOf(process->ProcessId()), receiver);
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
    for (const char* name : {"jingle 1.wav", "jingle 2.wav", "jingle 3.wav", "jingle 4.wav"}) {
        EXPECT_EQ(DecodeStream(folder_.File(name)).samples.size(), 44100u * 2) << name;
        EXPECT_TRUE(fs::exists(folder_.File(name) + ".json"));
    }
}

TEST_F(RepeatTest, AFixedNameIsFollowedByFreeOnes) {
    Serve();
    const auto process = Start({"--max", "1s", "--repeat", "-o", OutputFile()});
    ASSERT_TRUE(WaitForErrorLine(*process, "Complete: "));
    ASSERT_TRUE(WaitForErrorLine(*process, "Complete: "));
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
    EXPECT_TRUE(fs::exists(OutputFile()));
    EXPECT_TRUE(fs::exists(folder_.File("out-2.wav")));
}

TEST_F(RepeatTest, TheTimeThatWasSetEndsTheWaiting) {
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.startJingleFrame);
    Serve(route);
    EXPECT_EQ(Execute({"--until", TimeInTwoSeconds(), "-o", OutputFile()}), 3);
    EXPECT_THAT(Errors().back(), HasSubstr("No start recording was heard in time"));
}

TEST_F(RepeatTest, AReceiverThatDiesBeforeTheStartIsReplaced) {
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.startJingleFrame);
    Serve(route);
    const auto process = Start({"--max", "2s", "-o", OutputFile()});
    ASSERT_TRUE(WaitForErrorLine(*process, "Connected"));
    Serve();
    const long receiver = ChildOf(process->ProcessId());
    ASSERT_GT(receiver, 0);
    ASSERT_EQ(kill(static_cast<pid_t>(receiver), SIGKILL), 0);
    EXPECT_TRUE(WaitForErrorLine(*process, "it is started again"));
    const std::string further = process->ReadAllErrors(TickMs() + kRunPatienceMs).value_or("");
    EXPECT_EQ(Exit(*process), 0) << further;
    EXPECT_THAT(further, Not(HasSubstr("Waiting for")));
    EXPECT_EQ(Sidecar()["frames"], 88200);
}

}  // namespace receiver
