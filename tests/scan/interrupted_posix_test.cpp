// Ctrl+C while receiver-scan works.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "platform/unique_fd_posix.h"
#include "scan_run.h"
#include "testing/broadcast.h"
#include "testing/http_station.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

// Waits for something to happen to a file or in a folder.
class FileEvents final {
public:
    FileEvents(const std::string& path, uint32_t events) : fd_(inotify_init1(IN_CLOEXEC)) {
        watched_ = inotify_add_watch(fd_.Get(), path.c_str(), events) >= 0;
    }
    bool Wait(uint64_t deadline) const {
        pollfd wait{fd_.Get(), POLLIN, 0};
        const uint64_t now = TickMs();
        return watched_ && now < deadline && poll(&wait, 1, static_cast<int>(deadline - now)) == 1;
    }

private:
    const UniqueFd fd_;
    bool watched_ = false;
};

// Hours of silence, which take a while and no room on the disk.
void WriteHours(const std::string& path) {
    constexpr uint32_t kDataBytes = 0x70000000;
    constexpr size_t kHeaderBytes = 44;
    std::string header = WavBytes({44100, 2, {}}).substr(0, kHeaderBytes);
    for (size_t i = 0; i < 4; ++i) header[40 + i] = static_cast<char>(kDataBytes >> (8 * i));
    WriteFileBytes(path, header);
    std::filesystem::resize_file(path, kHeaderBytes + uint64_t{kDataBytes});
}

class InterruptedTest : public testing::Test {
protected:
    InterruptedTest() { WriteHours(hours_); }

    std::set<std::string> Files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }
    // Once that has happened.
    static ScanRun InterruptedOnce(const FileEvents& event,
                                   const std::vector<std::string>& arguments) {
        ChildProcess process((ExecutableDirectory() / "receiver-scan").string(), arguments,
                             ChildProcess::ErrorStream::kCapture);
        const uint64_t deadline = TickMs() + kPatienceMs;
        EXPECT_TRUE(event.Wait(deadline));
        process.Interrupt();
        ScanRun run;
        run.output = process.ReadAllOutput(deadline).value_or("");
        run.errors = process.ReadAllErrors(deadline).value_or("");
        run.exitCode = process.WaitForExit(deadline).value_or(-1);
        return run;
    }

    const TempFolder folder_;
    const std::string hours_ = folder_.File("hours.wav");
};

TEST_F(InterruptedTest, ACheckEndsWithoutAVerdict) {
    const FileEvents opened(hours_, IN_OPEN);
    const ScanRun run = InterruptedOnce(opened, {"check", hours_});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "receiver-scan: interrupted\n");
}

TEST_F(InterruptedTest, ACutLeavesNoFile) {
    const FileEvents created(folder_.Path().string(), IN_CREATE);
    const ScanRun run = InterruptedOnce(
        created, {"cut", hours_, "--from", "0", "--to", "2h", "-o", folder_.File("cut.wav")});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_EQ(run.errors, "receiver-scan: interrupted\n");
    EXPECT_EQ(Files(), std::set<std::string>{"hours.wav"});
}

TEST_F(InterruptedTest, ADiscoveryWritesNothing) {
    const FileEvents opened(hours_, IN_OPEN);
    const ScanRun run =
        InterruptedOnce(opened, {"discover", hours_, "--export", folder_.File("jingles"),
                                 "--report", folder_.File("page.html")});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(Files(), std::set<std::string>{"hours.wav"});
}

TEST_F(InterruptedTest, TheListeningToAFileEndsWithASummary) {
    const std::string start = folder_.File("start.wav");
    WriteWavFile(start, MakeBroadcast(44100, 2).startJingle);
    const FileEvents opened(hours_, IN_OPEN);
    const ScanRun run = InterruptedOnce(opened, {"listen", hours_, "--json", "--start", start});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_EQ(run.Objects("summary").size(), 1u) << run.output;
}

TEST(Interrupted, TheListeningToAStreamEndsWithASummary) {
    const TempFolder folder;
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    WriteWavFile(folder.File("start.wav"), broadcast.startJingle);
    HttpStation station;
    StationRoute route;
    route.body = WavBytes(broadcast.audio);
    route.stallAfter = route.body.size() / 2;
    station.Serve("/live", route);
    ChildProcess process((ExecutableDirectory() / "receiver-scan").string(),
                         {"listen", station.Url("/live"), "--json", "--io-timeout", "2s", "--start",
                          folder.File("start.wav")},
                         ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(station.WaitForStall("/live", kPatienceMs));
    process.Interrupt();
    const uint64_t deadline = TickMs() + kPatienceMs;
    ScanRun run;
    run.output = process.ReadAllOutput(deadline).value_or("");
    EXPECT_EQ(process.WaitForExit(deadline).value_or(-1), 5);
    ASSERT_EQ(run.Objects("summary").size(), 1u) << run.output;
}

}  // namespace
}  // namespace receiver
