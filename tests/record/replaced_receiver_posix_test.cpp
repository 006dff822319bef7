// A receiver that dies while it records is replaced, and the recording goes on where it broke off.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include "folder_watch_posix.h"
#include "platform/clock.h"
#include "record_run.h"
#include "testing/process_probe_posix.h"
#include "testing/receiver_driver.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

using testing::HasSubstr;

class ReplacedReceiverTest : public testing::Test, public RecordRun {
protected:
    // A recording whose source stalls in the middle of the programme.
    void Begin(std::vector<std::string> further = {}) {
        StationRoute route;
        route.stallAfter = BodyBytes(broadcast_.programmeFrame + 88200);
        Serve(route);
        const bool waitsForEnd = !further.empty() && further.front() == "--end";
        FolderWatch watch(folder_.Path());
        further.insert(further.end(), {"--max", "5s", "-o", OutputFile()});
        process_.emplace(RecordProgram(), Arguments(further), ChildProcess::ErrorStream::kCapture);
        // With an end recording only what is sure to be before it reaches the file.
        ASSERT_TRUE(waitsForEnd ? WaitForErrorLine(*process_, "Recording from sample")
                                : watch.WaitForSize(OutputFile() + ".part", 1000));
    }
    void SignalReceiver(int signal) {
        const long receiver = ChildOf(process_->ProcessId());
        ASSERT_GT(receiver, 0);
        ASSERT_EQ(kill(static_cast<pid_t>(receiver), signal), 0);
    }
    std::string Finish(int exitCode) {
        const std::string said =
            process_->ReadAllErrors(TickMs() + kRunPatienceMs).value_or("(nothing)");
        EXPECT_EQ(process_->WaitForExit(TickMs() + kRunPatienceMs), exitCode) << said;
        return said;
    }
    void ExpectNoTrace() {
        EXPECT_EQ(Recorded(), Expected(5 * 44100));
        EXPECT_EQ(Sidecar()["startSample"], broadcast_.startJingleFrame);
        ASSERT_EQ(Sidecar()["gaps"].size(), 1u);
        EXPECT_EQ(Sidecar()["gaps"][0]["lostFrames"], 0);
        EXPECT_EQ(Sidecar()["gaps"][0]["exact"], true);
        EXPECT_EQ(Sidecar()["outcome"], "complete");
    }

    std::optional<ChildProcess> process_;
};

}  // namespace

TEST_F(ReplacedReceiverTest, OneThatIsKilledLeavesNoTraceInTheRecording) {
    Begin();
    Serve();
    SignalReceiver(SIGKILL);
    const std::string said = Finish(0);
    EXPECT_THAT(said, HasSubstr("The receiver exited unexpectedly; it is started again"));
    EXPECT_THAT(said, HasSubstr("(The receiver exited unexpectedly), nothing is missing"));
    ExpectNoTrace();
}

TEST_F(ReplacedReceiverTest, OneThatDoesNotAnswerLeavesNoTraceEither) {
    Begin();
    Serve();
    SignalReceiver(SIGSTOP);
    EXPECT_TRUE(WaitForErrorLine(*process_, "The receiver does not answer; it is started again"));
    Finish(0);
    ExpectNoTrace();
}

// Its samples are counted anew by the second receiver.
TEST_F(ReplacedReceiverTest, TheSecondOneHearsTheEndWhereItIs) {
    Begin({"--end", folder_.File("outro.wav")});
    Serve();
    SignalReceiver(SIGKILL);
    Finish(0);
    EXPECT_EQ(Sidecar()["reason"], "maximum");
    EXPECT_EQ(Sidecar()["endSample"], broadcast_.startJingleFrame + 5 * 44100);
    const auto matches = Sidecar()["matches"];
    ASSERT_GE(matches.size(), 2u);
    EXPECT_EQ(matches.back()["role"], "end");
    EXPECT_NEAR(matches.back()["sample"].get<double>(),
                static_cast<double>(broadcast_.endJingleFrame), 1000);
}

TEST_F(ReplacedReceiverTest, AStationThatIsAwayMeanwhileIsTriedAgain) {
    Begin();
    station_.Serve("/live", {.status = 503});
    SignalReceiver(SIGKILL);
    ASSERT_TRUE(station_.WaitForRequests(3, kPatienceMs));
    Serve();
    Finish(0);
    ExpectNoTrace();
}

TEST_F(ReplacedReceiverTest, WhereNoneCanBeStartedWhatCameIsKept) {
    const std::string receiver = folder_.File("receiver");
    WriteFileBytes(receiver, "#!/bin/sh\nexec '" + ReceiverDriver::ProgramPath() + "' \"$@\"\n");
    ASSERT_EQ(chmod(receiver.c_str(), 0700), 0);
    Begin({"--receiver", receiver});
    std::filesystem::remove(receiver);
    SignalReceiver(SIGKILL);
    EXPECT_THAT(Finish(1), HasSubstr("it is started again"));
    EXPECT_GT(Recorded().size(), 44100u);
    EXPECT_EQ(Sidecar()["outcome"], "failure");
}

TEST_F(ReplacedReceiverTest, AnInterruptionWhileItIsReplacedKeepsWhatCame) {
    Begin();
    station_.Serve("/live", {.status = 503});
    SignalReceiver(SIGKILL);
    ASSERT_TRUE(station_.WaitForRequests(3, kPatienceMs));
    process_->Interrupt();
    Finish(5);
    EXPECT_GT(Recorded().size(), 44100u);
    EXPECT_EQ(Sidecar()["outcome"], "interrupted");
}

}  // namespace receiver
