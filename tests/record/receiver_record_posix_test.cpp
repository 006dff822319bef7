// What takes signals, named pipes and a small disk to show.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>

#include "platform/clock.h"
#include "record_run.h"
#include "support/process_probe_posix.h"
#include "support/receiver_driver.h"
#include "support/wav_file.h"

namespace {

namespace fs = std::filesystem;

// Waits until a file in the folder has grown to a size.
class CFolderWatch {
public:
    explicit CFolderWatch(const fs::path& folder) : fd_(inotify_init1(IN_CLOEXEC)) {
        inotify_add_watch(fd_, folder.c_str(), IN_MODIFY | IN_CREATE);
    }
    ~CFolderWatch() { close(fd_); }
    bool WaitForSize(const fs::path& file, uint64_t bytes) {
        const uint64_t deadline = TickMs() + kRunPatienceMs;
        for (;;) {
            std::error_code missing;
            const uint64_t size = fs::file_size(file, missing);
            if (!missing && size >= bytes) return true;
            const uint64_t now = TickMs();
            pollfd ready = {fd_, POLLIN, 0};
            if (now >= deadline || poll(&ready, 1, static_cast<int>(deadline - now)) <= 0) {
                return false;
            }
            char events[4096];
            if (read(fd_, events, sizeof(events)) <= 0) return false;
        }
    }

private:
    const int fd_;
};

long ChildOf(long pid) {
    for (const auto& task : fs::directory_iterator(ProcessFolder(pid) / "task")) {
        std::ifstream children(task.path() / "children");
        long child = 0;
        if (children >> child) return child;
    }
    return 0;
}

class ReceiverRecordPosixTest : public testing::Test, public CRecordRun {
protected:
    // The stream stands still in the middle of the programme; the recorder has at least
    // the jingle on disk.
    std::unique_ptr<CChildProcess> StartAndRecordASecond() {
        StationRoute route;
        route.stallAfter = BodyBytes(broadcast_.programmeFrame + 88200);
        Serve(route);
        auto process = std::make_unique<CChildProcess>(
            RecordProgram(), Arguments({"--max", "1m", "-o", OutputFile()}),
            CChildProcess::ErrorStream::kCapture);
        EXPECT_TRUE(watch_.WaitForSize(OutputFile() + ".part", 44100 * 4));
        return process;
    }
    void ExpectPlayableBeginning() const {
        const nlohmann::json sidecar = Sidecar();
        EXPECT_EQ(sidecar["complete"], false);
        const std::vector<int16_t> recorded = Recorded();
        EXPECT_GT(recorded.size(), 44100u);
        EXPECT_EQ(recorded,
                  Slice(broadcast_.audio, sidecar["startSample"].get<size_t>(), recorded.size() / 2)
                      .samples);
    }
    static std::optional<int> Exit(CChildProcess& process) {
        return process.WaitForExit(TickMs() + kRunPatienceMs);
    }

    CFolderWatch watch_{folder_.Path()};
};

}  // namespace

TEST_F(ReceiverRecordPosixTest, CtrlCKeepsWhatCameAndSaysSo) {
    const auto process = StartAndRecordASecond();
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
    EXPECT_EQ(Sidecar()["outcome"], "interrupted");
    ExpectPlayableBeginning();
}

TEST_F(ReceiverRecordPosixTest, CtrlCBeforeTheStartLeavesNoFile) {
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.startJingleFrame);
    Serve(route);
    CChildProcess process(RecordProgram(), Arguments({"-o", OutputFile()}),
                          CChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(WaitForErrorLine(process, "Connected"));
    process.Interrupt();
    EXPECT_EQ(Exit(process), 5);
    EXPECT_FALSE(fs::exists(OutputFile()));
    EXPECT_FALSE(fs::exists(OutputFile() + ".part"));
}

TEST_F(ReceiverRecordPosixTest, AReceiverKilledInTheMiddleLeavesAPlayableFile) {
    const auto process = StartAndRecordASecond();
    const long receiver = ChildOf(process->ProcessId());
    ASSERT_GT(receiver, 0);
    ASSERT_EQ(kill(static_cast<pid_t>(receiver), SIGKILL), 0);
    EXPECT_EQ(Exit(*process), 1);
    EXPECT_EQ(Sidecar()["outcome"], "failure");
    ExpectPlayableBeginning();
}

TEST_F(ReceiverRecordPosixTest, AJoinedReceiverThatIsKilledLeavesAPlayableFile) {
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.programmeFrame + 88200);
    Serve(route);
    CReceiverDriver receiver;
    CChildProcess process(
        RecordProgram(),
        Arguments({"--control", receiver.Uri(), "--max", "1m", "-o", OutputFile()}),
        CChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(watch_.WaitForSize(OutputFile() + ".part", 44100 * 4));
    receiver.Kill();
    EXPECT_EQ(Exit(process), 1);
    ExpectPlayableBeginning();
}

// The receiver gives up on a client that does not read for a second. Here nobody reads
// the recorder's output until the receiver has sent everything: far more than the pipes
// between hold, so that the recorder must have taken it in beside its stalled output.
TEST_F(ReceiverRecordPosixTest, AnOutputThatStandsStillDoesNotHarmTheRecording) {
    Serve();
    const std::string fifo = folder_.File("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    std::vector<std::string> arguments = {"-c", "fifo=$0; exec \"$@\" > \"$fifo\"", fifo,
                                          RecordProgram()};
    for (const std::string& argument : Arguments({"-o", "-"})) arguments.push_back(argument);
    CChildProcess process("/bin/sh", arguments, CChildProcess::ErrorStream::kCapture);
    EXPECT_TRUE(WaitForErrorLine(process, "The session has finished: eof"));

    std::string wav;
    char piece[65536];
    pollfd ready = {reader, POLLIN, 0};
    while (poll(&ready, 1, static_cast<int>(kRunPatienceMs)) > 0) {
        const ssize_t count = read(reader, piece, sizeof(piece));
        if (count <= 0) break;
        wav.append(piece, static_cast<size_t>(count));
    }
    close(reader);
    EXPECT_EQ(Exit(process), 0);
    WriteFileBytes(OutputFile(), wav);
    const std::vector<int16_t> recorded = Recorded();
    const size_t start = broadcast_.audio.Frames() - recorded.size() / 2;
    EXPECT_EQ(recorded, Slice(broadcast_.audio, start, recorded.size() / 2).samples);
    EXPECT_GT(wav.size(), 1000000u);
}

TEST_F(ReceiverRecordPosixTest, AReaderOfStandardOutputThatGoesAwayIsAnOutputError) {
    Serve();
    std::vector<std::string> arguments = {
        "-c", "set -o pipefail; \"$0\" \"$@\" | head -c 100 > /dev/null", RecordProgram()};
    for (const std::string& argument : Arguments({"-o", "-"})) arguments.push_back(argument);
    CChildProcess process("/bin/bash", arguments, CChildProcess::ErrorStream::kCapture);
    EXPECT_EQ(Exit(process), 6);
}

TEST_F(ReceiverRecordPosixTest, AFullDiskLeavesAPlayableFileAndIsAnOutputError) {
    Serve();
    const fs::path disk = folder_.Path() / "disk";
    fs::create_directory(disk);
    if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=400k") != 0) {
        GTEST_SKIP() << "no small disk can be mounted: " << std::strerror(errno);
    }
    const std::string output = (disk / "out.wav").string();
    EXPECT_EQ(Execute({"-o", output}), 6) << testing::PrintToString(Errors());
    EXPECT_GT(fs::file_size(output), 300000u);
    const std::vector<int16_t> recorded = DecodeStream(output).samples;
    EXPECT_GT(recorded.size() * 2, 300000u);
    EXPECT_EQ(umount(disk.c_str()), 0);
}

TEST_F(ReceiverRecordPosixTest, ThePythonExampleRecordsAProgram) {
    Serve();
    CChildProcess python(
        "python3",
        {std::string(EXAMPLES_PATH) + "/record_program.py", CReceiverDriver::ProgramPath(),
         station_.Url("/live"), folder_.File("jingle.wav"), OutputFile(), "2"},
        CChildProcess::ErrorStream::kCapture);
    const auto errors = python.ReadAllErrors(TickMs() + kRunPatienceMs);
    EXPECT_EQ(Exit(python), 0) << errors.value_or("");
    EXPECT_EQ(Recorded().size(), 88200u * 2);
}
