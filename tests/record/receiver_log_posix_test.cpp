// The logs of the receivers that receiver-record starts: where, how many, and how long.
#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>

#include "platform/clock.h"
#include "record_run.h"
#include "terminal_run_posix.h"
#include "testing/process_probe_posix.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

class ReceiverLogTest : public testing::Test, public RecordRun {
protected:
    std::vector<fs::path> Logs() const {
        std::vector<fs::path> logs;
        for (const auto& entry : fs::directory_iterator(LogPlace() / "receiver-record")) {
            logs.push_back(entry.path());
        }
        return logs;
    }
    size_t LinesWith(const std::string& text) const {
        size_t count = 0;
        for (const fs::path& log : Logs()) {
            std::ifstream file(log);
            for (std::string line; std::getline(file, line);) {
                if (line.find(text) != std::string::npos) ++count;
            }
        }
        return count;
    }
};

}  // namespace

TEST_F(ReceiverLogTest, TheLogIsKeptForTheUserAloneAndItsNameToldWhenItHelps) {
    Serve();
    ASSERT_EQ(Execute({"--max", "1s", "-o", OutputFile()}), 0);
    ASSERT_EQ(Logs().size(), 1u);
    EXPECT_EQ(fs::status(LogPlace() / "receiver-record").permissions(), fs::perms::owner_all);
    const std::string log = Logs()[0].string();
    EXPECT_EQ(testing::PrintToString(Errors()).find(log), std::string::npos);

    fs::remove_all(LogPlace());
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.programmeFrame + 88200);
    Serve(route);
    ChildProcess process(RecordProgram(), Arguments({"--force", "-o", OutputFile()}),
                         ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(WaitForErrorLine(process, "Recording from sample"));
    ASSERT_EQ(Logs().size(), 1u);
    const std::string itsLog = Logs()[0].string();
    ASSERT_EQ(kill(static_cast<pid_t>(ChildOf(process.ProcessId())), SIGKILL), 0);
    EXPECT_TRUE(WaitForErrorLine(process, "it is started again (its log: " + itsLog + ")"));
    process.Interrupt();
    EXPECT_EQ(process.WaitForExit(TickMs() + kRunPatienceMs), 5);
}

TEST_F(ReceiverLogTest, OnlyAFewAreKept) {
    Serve();
    fs::create_directories(LogPlace() / "receiver-record");
    fs::permissions(LogPlace() / "receiver-record", fs::perms::owner_all);
    for (int i = 10; i < 50; ++i) {
        const std::string name = "receiver-99999999_20200101_0000" + std::to_string(i) + ".log";
        WriteFileBytes((LogPlace() / "receiver-record" / name).string(), "old");
    }
    ASSERT_EQ(Execute({"--max", "1s", "-o", OutputFile()}), 0);
    EXPECT_EQ(Logs().size(), 20u);
    EXPECT_EQ(LinesWith("HOST_STOPPED"), 1u);
}

TEST_F(ReceiverLogTest, WhereNobodyLooksTheReceiverIsNotAsked) {
    StationRoute route;
    route.gated = true;
    Serve(route);
    station_.Release("/live", BodyBytes(broadcast_.endJingleFrame));
    ChildProcess process(RecordProgram(), Arguments({"--max", "1s", "-o", OutputFile()}),
                         ChildProcess::ErrorStream::kCapture);
    EXPECT_TRUE(WaitForErrorLine(process, "Complete"));
    EXPECT_EQ(process.WaitForExit(TickMs() + kRunPatienceMs), 0);
    EXPECT_EQ(LinesWith("RECEIVER WELCOME"), 1u);
}

TEST_F(ReceiverLogTest, WhereSomebodyLooksItIsAskedSeldom) {
    StationRoute route;
    route.gated = true;
    Serve(route);
    station_.Release("/live", BodyBytes(broadcast_.endJingleFrame));
    TerminalRun run(Arguments({"--end", folder_.File("outro.wav"), "-o", OutputFile()}), 80,
                    {"TERM=xterm"});
    size_t draws = 0;
    ASSERT_TRUE(run.ShowUntil([&](const TerminalScreen& screen) {
        draws = screen.Erased().size();
        return draws >= 70;  // ten in a second at most
    }));
    station_.ReleaseAll("/live");
    EXPECT_EQ(run.Finish(), 0);
    // The first, one for each state, and one in ten seconds.
    EXPECT_LE(LinesWith("RECEIVER WELCOME"), 5 + static_cast<size_t>(run.Seconds() / 10));
}

}  // namespace receiver
