// receiver-record as a process: what its starter gives it and takes away, and what becomes of
// its receiver.
#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>

extern "C" {
#include <sys/pidfd.h>
}

#include <fstream>
#include <sstream>

#include "platform/clock.h"
#include "platform/unique_fd_posix.h"
#include "record_run.h"
#include "testing/missing_streams_posix.h"
#include "testing/process_probe_posix.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

class ProcessLifeTest : public testing::Test, public RecordRun {
protected:
    // The stream stands still in the middle of the programme.
    void ServeUntilStall() {
        StationRoute route;
        route.stallAfter = BodyBytes(broadcast_.programmeFrame + 44100);
        Serve(route);
    }
    std::vector<std::string> Command(const std::vector<std::string>& further) const {
        std::vector<std::string> command = Arguments(further);
        command.insert(command.begin(), RecordProgram());
        return command;
    }
    static std::optional<int> Exit(ChildProcess& process) {
        return process.WaitForExit(TickMs() + kRunPatienceMs);
    }
};

class MissingStreamsOfRecordTest : public ProcessLifeTest,
                                   public testing::WithParamInterface<int> {};

}  // namespace

TEST_P(MissingStreamsOfRecordTest, NothingButTheProgrammeIsInTheRecording) {
    Serve();
    ChildProcess process("sh",
                         WithoutStreams(GetParam(), Command({"--max", "2s", "-o", OutputFile()})),
                         ChildProcess::ErrorStream::kCapture);
    EXPECT_EQ(Exit(process), 0);
    const nlohmann::json sidecar = Sidecar();
    EXPECT_EQ(sidecar["complete"], true);
    EXPECT_EQ(Recorded(),
              Slice(broadcast_.audio, sidecar["startSample"].get<size_t>(), 88200).samples);
}

INSTANTIATE_TEST_SUITE_P(Combinations, MissingStreamsOfRecordTest,
                         testing::Range(kNoStreamMissing + 1, kAllStreamsMissing + 1));

TEST_F(ProcessLifeTest, NeitherRecorderNorReceiverOpensAnythingAsAMissingStream) {
    ServeUntilStall();
    ChildProcess process(
        "sh", WithoutStreams(kAllStreamsMissing, Command({"--max", "1m", "-o", OutputFile()})));
    ASSERT_TRUE(station_.WaitForStall("/live", kRunPatienceMs));
    const std::vector<std::string> expected{"0 /dev/null", "1 /dev/null", "2 /dev/null"};
    EXPECT_THAT(DescriptorsOf(process.ProcessId()), testing::IsSupersetOf(expected));
    EXPECT_THAT(DescriptorsOf(ChildOf(process.ProcessId())), testing::Contains("0 /dev/null"));
    process.Interrupt();
    EXPECT_EQ(Exit(process), 5);
}

TEST_F(ProcessLifeTest, AStandardOutputThatIsClosedTakesNoRecording) {
    Serve();
    ChildProcess process("sh", WithoutStreams(2, Command({"--max", "2s", "-o", "-"})),
                         ChildProcess::ErrorStream::kCapture);
    EXPECT_TRUE(WaitForErrorLine(process, "standard output is closed"));
    EXPECT_EQ(Exit(process), 6);
    EXPECT_EQ(station_.RequestCount(), 0u);
}

TEST_F(ProcessLifeTest, BelowNohupRecorderAndReceiverIgnoreAHangUp) {
    ServeUntilStall();
    std::vector<std::string> arguments{"-c", "trap '' HUP; exec \"$@\"", "sh"};
    const std::vector<std::string> command = Command({"--max", "1m", "-o", OutputFile()});
    arguments.insert(arguments.end(), command.begin(), command.end());
    ChildProcess process("sh", arguments, ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(station_.WaitForStall("/live", kRunPatienceMs));
    EXPECT_TRUE(IgnoresSignal(process.ProcessId(), SIGHUP));
    EXPECT_TRUE(IgnoresSignal(ChildOf(process.ProcessId()), SIGHUP));
    process.Interrupt();
    EXPECT_EQ(Exit(process), 5);
}

// Nobody else could reach it: its buffer would grow until the disk or the memory is full.
TEST_F(ProcessLifeTest, AKilledRecordersReceiverStopsCleanly) {
    ServeUntilStall();
    fs::create_directory(folder_.Path() / "log");
    ChildProcess process(
        RecordProgram(),
        Arguments({"--max", "1m", "-o", OutputFile(), "--log", folder_.File("log/receiver.log")}),
        ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(station_.WaitForStall("/live", kRunPatienceMs));
    const UniqueFd receiver(pidfd_open(static_cast<pid_t>(ChildOf(process.ProcessId())), 0));
    ASSERT_TRUE(receiver.IsValid());
    process.Kill();
    pollfd ended{receiver.Get(), POLLIN, 0};
    EXPECT_EQ(poll(&ended, 1, static_cast<int>(kRunPatienceMs)), 1);

    std::ostringstream log;
    for (const auto& entry : fs::directory_iterator(folder_.Path() / "log")) {
        log << std::ifstream(entry.path()).rdbuf();
    }
    EXPECT_THAT(log.str(), testing::HasSubstr(" RECEIVER HOST_STOPPED "));
}

}  // namespace receiver
