// Readers of what receiver-record writes that are slow, stand still, or do not want to be
// waited for.
#include <gmock/gmock.h>

#include <sstream>

#include "platform/clock.h"
#include "record_run.h"
#include "stalled_output_posix.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

using testing::HasSubstr;

class BlockedOutputTest : public testing::Test, public RecordRun {
protected:
    // With one of its streams, "1" or "2", going into the FIFO.
    std::unique_ptr<ChildProcess> StartInto(const std::string& fifo, const std::string& stream,
                                            const std::vector<std::string>& further) const {
        std::vector<std::string> command{"-c", "fifo=$0; exec \"$@\" " + stream + "> \"$fifo\"",
                                         fifo, RecordProgram()};
        for (const std::string& argument : Arguments(further)) command.push_back(argument);
        return std::make_unique<ChildProcess>("/bin/sh", command,
                                              ChildProcess::ErrorStream::kCapture);
    }
    // So many references to the jingle that each airing is told of in many lines.
    std::vector<std::string> Talkative(std::vector<std::string> arguments) const {
        for (int i = 0; i < 31; ++i) {
            arguments.push_back("--other");
            arguments.push_back(std::string(60, 'x') + std::to_string(i) + "=" +
                                folder_.File("jingle.wav"));
        }
        return arguments;
    }
    static std::optional<int> Exit(ChildProcess& process) {
        return process.WaitForExit(TickMs() + kRunPatienceMs);
    }

    const std::string fifo_ = folder_.File("fifo");
};

}  // namespace

TEST_F(BlockedOutputTest, AReaderOfTheAudioThatStandsStillDoesNotKeepATerminationFromItsEnd) {
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.tailFrame);
    Serve(route);
    StalledOutput output(fifo_);
    const auto process = StartInto(fifo_, "1", {"-o", "-"});
    ASSERT_TRUE(output.WaitUntilWriterIsBlocked());
    process->Terminate();
    EXPECT_EQ(Exit(*process), 5);
    EXPECT_THAT(process->ReadAllErrors(TickMs() + kRunPatienceMs).value_or(""),
                HasSubstr("Interrupted before standard output had taken everything"));
}

// After the programme, when only the reader is waited for.
TEST_F(BlockedOutputTest, NorDoesItAfterTheProgramme) {
    Serve();
    StalledOutput output(fifo_);
    const auto process = StartInto(fifo_, "1", {"--max", "2s", "-o", "-"});
    ASSERT_TRUE(output.WaitUntilWriterIsBlocked());
    ASSERT_TRUE(WaitForErrorLine(*process, "The session has finished"));
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
}

TEST_F(BlockedOutputTest, AStandardOutputThatDoesNotBlockIsWaitedFor) {
    Serve();
    StalledOutput output(fifo_);
    std::vector<std::string> command{"-c",
                                     "import fcntl, os, sys\n"
                                     "os.dup2(os.open(sys.argv[1], os.O_WRONLY), 1)\n"
                                     "fcntl.fcntl(1, fcntl.F_SETFL, os.O_NONBLOCK)\n"
                                     "os.execv(sys.argv[2], sys.argv[2:])\n",
                                     fifo_, RecordProgram()};
    for (const std::string& argument : Arguments({"--max", "2s", "-o", "-"})) {
        command.push_back(argument);
    }
    ChildProcess process("python3", command, ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(output.WaitUntilWriterIsBlocked());
    WriteFileBytes(OutputFile(), output.ReadAll());
    EXPECT_EQ(Exit(process), 0);
    EXPECT_EQ(Recorded().size(), 88200u * 2);
}

TEST_F(BlockedOutputTest, AReaderOfStandardErrorThatStandsStillDoesNotHarmTheRecording) {
    Serve();
    const StalledOutput output(fifo_);
    const auto process =
        StartInto(fifo_, "2", Talkative({"-v", "--max", "2s", "-o", OutputFile()}));
    EXPECT_EQ(Exit(*process), 0);
    EXPECT_EQ(Sidecar()["complete"], true);
    EXPECT_EQ(Recorded().size(), 88200u * 2);
}

TEST_F(BlockedOutputTest, AReaderOfTheEventsThatStandsStillDoesNotHarmTheRecording) {
    Serve();
    const StalledOutput output(fifo_);
    const auto process =
        StartInto(fifo_, "1", Talkative({"--json", "--max", "2s", "-o", OutputFile()}));
    EXPECT_EQ(Exit(*process), 0);
    EXPECT_EQ(Sidecar()["complete"], true);
    EXPECT_EQ(Recorded().size(), 88200u * 2);
}

}  // namespace receiver
