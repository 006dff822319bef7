// receiver-record as people see it: on a terminal, with its status line.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "record_run.h"
#include "terminal_run_posix.h"
#include "testing/fake_peer.h"

namespace receiver {
namespace {

using testing::PrintToString;

const std::string kSettled = "RECORDING";

size_t CountOf(const TerminalScreen& screen, const std::string& state) {
    return static_cast<size_t>(
        std::count_if(screen.Erased().begin(), screen.Erased().end(),
                      [&](const std::string& line) { return line.rfind(state, 0) == 0; }));
}

class LiveTerminalTest : public testing::Test, public RecordRun {
protected:
    LiveTerminalTest() {
        StationRoute route;
        route.gated = true;
        Serve(route);
        station_.Release("/live", BodyBytes(broadcast_.endJingleFrame));
    }
    std::unique_ptr<TerminalRun> Start(unsigned short columns,
                                       std::vector<std::string> environment = {}) {
        environment.push_back("TERM=xterm");
        return std::make_unique<TerminalRun>(
            Arguments({"--end", folder_.File("outro.wav"), "--max", "1h", "-o", OutputFile()}),
            columns, environment);
    }
    // So often drawn while recording.
    static bool WaitForDraws(TerminalRun& run, size_t count) {
        const size_t before = CountOf(run.Screen(), kSettled);
        return run.ShowUntil([&](const TerminalScreen& screen) {
            return CountOf(screen, kSettled) >= before + count;
        });
    }
    void FinishWell(TerminalRun& run) {
        station_.ReleaseAll("/live");
        EXPECT_EQ(run.Finish(), 0) << PrintToString(run.Screen().Lines());
        EXPECT_EQ(run.Screen().Fault(), "");
    }
    // The lines from the screen's first one that begin with these texts, in this order.
    static void ExpectLines(const TerminalScreen& screen, const std::vector<std::string>& begins) {
        auto line = screen.Lines().begin();
        for (const std::string& begin : begins) {
            line = std::find_if(line, screen.Lines().end(),
                                [&](const std::string& text) { return text.rfind(begin, 0) == 0; });
            ASSERT_NE(line, screen.Lines().end()) << begin << PrintToString(screen.Lines());
            ++line;
        }
    }
    static void ExpectNoStatusLeft(const TerminalScreen& screen) {
        EXPECT_EQ(screen.Lines().back(), "");
        for (const std::string& line : screen.Lines()) {
            for (const char* state : {"STARTING", "PREPARING", "SCANNING", "RECORDING"}) {
                EXPECT_NE(line.rfind(state, 0), 0u) << line;
            }
        }
    }
};

}  // namespace

TEST_F(LiveTerminalTest, EventsScrollAboveTheStatusAndTheSummaryStaysAtTheEnd) {
    const auto run = Start(80);
    ASSERT_TRUE(WaitForDraws(*run, 5)) << PrintToString(run->Screen().Lines());
    EXPECT_EQ(run->Screen().Lines().back().rfind("RECORDING", 0), 0u);
    FinishWell(*run);
    ExpectLines(
        run->Screen(),
        {"Waiting for http://", "Connected to the source", "Heard the start recording jingle",
         "Recording from sample", "Heard the end recording outro", "The session has finished",
         "Recorded 00:00:06.", "The start was jingle", "Complete: ended by the"});
    ExpectNoStatusLeft(run->Screen());
}

TEST_F(LiveTerminalTest, TheStatusShowsLevelBufferMatchTimeAndWhatRemains) {
    const auto run = Start(100);
    // The buffer is asked for when the state changes, the level comes with the first audio.
    ASSERT_TRUE(run->ShowUntil([](const TerminalScreen& screen) {
        const std::string& line = screen.Lines().back();
        return line.rfind("RECORDING", 0) == 0 && line.find("buffer ") != std::string::npos &&
               line.find("dB") != std::string::npos;
    })) << PrintToString(run->Screen().Lines());
    const std::string line = run->Screen().Lines().back();
    EXPECT_NE(line.find("00:00:0"), std::string::npos) << line;
    EXPECT_NE(line.find("-00:59:"), std::string::npos) << line;
    EXPECT_NE(line.find("dB"), std::string::npos) << line;
    EXPECT_NE(line.find("jingle 0.0"), std::string::npos) << line;
    EXPECT_NE(line.find("stream 00:00:0"), std::string::npos) << line;
    FinishWell(*run);
}

TEST_F(LiveTerminalTest, TheStatusNeverWrapsIn40Columns) {
    const auto run = Start(40);
    ASSERT_TRUE(WaitForDraws(*run, 15)) << PrintToString(run->Screen().Lines());
    FinishWell(*run);
    for (const std::string& line : run->Screen().Erased()) EXPECT_LT(line.size(), 40u) << line;
    EXPECT_EQ(run->Screen().Erased().back().size(), 39u);  // it does not waste them, either
    ExpectNoStatusLeft(run->Screen());
}

TEST_F(LiveTerminalTest, TheStatusIsRedrawnAtMostTenTimesASecond) {
    std::vector<std::string> arguments = {"-o", OutputFile()};
    for (int i = 0; i < 31; ++i) {  // they are all heard at once
        arguments.push_back("--other");
        arguments.push_back("j" + std::to_string(i) + "=" + folder_.File("jingle.wav"));
    }
    const auto run = std::make_unique<TerminalRun>(Arguments(arguments), 80,
                                                   std::vector<std::string>{"TERM=xterm"});
    ASSERT_TRUE(WaitForDraws(*run, 5));
    FinishWell(*run);
    EXPECT_LE(static_cast<double>(run->Screen().Erased().size()), run->Seconds() * 10 + 2);
}

// A draw that was on its way when the width changed may still have the old one.
TEST_F(LiveTerminalTest, AfterEachResizeTheStatusFitsAgainAndNothingAboveIsTouched) {
    const auto run = Start(80);
    ASSERT_TRUE(WaitForDraws(*run, 3));
    for (const unsigned short columns : std::initializer_list<unsigned short>{40, 80, 23, 60}) {
        run->Resize(columns);
        ASSERT_TRUE(WaitForDraws(*run, 2));
        const size_t settled = run->Screen().Erased().size();
        ASSERT_TRUE(WaitForDraws(*run, 3));
        for (size_t i = settled; i < run->Screen().Erased().size(); ++i) {
            EXPECT_LT(run->Screen().Erased()[i].size(), columns);
        }
    }
    FinishWell(*run);
    ExpectLines(run->Screen(), {"Waiting for", "Connected", "Heard the start", "Recording from",
                                "Complete: ended by the"});
    ExpectNoStatusLeft(run->Screen());
}

TEST_F(LiveTerminalTest, ThereAreColoursUnlessNoColorForbidsThem) {
    const auto coloured = Start(80);
    ASSERT_TRUE(WaitForDraws(*coloured, 2));
    EXPECT_GT(coloured->Screen().Colours(), 0u);
    FinishWell(*coloured);
    std::filesystem::remove(OutputFile());
    std::filesystem::remove(OutputFile() + ".json");
    const auto plain = Start(80, {"NO_COLOR=1"});
    FinishWell(*plain);
    EXPECT_GT(plain->Screen().Erased().size(), 0u);
    EXPECT_EQ(plain->Screen().Colours(), 0u);
}

TEST_F(LiveTerminalTest, ADumbTerminalGetsPlainLinesWithATimeStamp) {
    TerminalRun run(Arguments({"--max", "2s", "-o", OutputFile()}), 80, {"TERM=dumb"});
    FinishWell(run);
    EXPECT_TRUE(run.Screen().Erased().empty());
    for (const std::string& line : run.Screen().Lines()) {
        EXPECT_TRUE(line.empty() || line.rfind("20", 0) == 0) << line;
    }
}

// Whatever a source or a receiver calls itself, the terminal is not steered by it.
TEST_F(LiveTerminalTest, HostileTextsDoNotReachTheTerminalAsTheyAre) {
    const std::string hostile = "\x1b]0;owned\x07\x1b[2J\r\n";
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        nlohmann::json prepare = p.ReceiveMessage();
        const std::string session = prepare["sessionId"];
        p.SendMessage({{"type", "ACK"},
                       {"version", 1},
                       {"requestId", prepare["requestId"]},
                       {"command", "PREPARE"},
                       {"session",
                        {{"sessionId", session},
                         {"state", hostile},
                         {"sequence", 0},
                         {"matches", nlohmann::json::array()}}}});
        const nlohmann::json match = {{"ber", 0},
                                      {"observedAfterSample", 9},
                                      {"referenceId", hostile},
                                      {"role", hostile},
                                      {"sample", 1}};
        nlohmann::json detected = match;
        detected.update({{"type", "DETECTED"}, {"sessionId", session}, {"sequence", 1}});
        p.SendMessage(detected);
        p.SendMessage({{"type", hostile}, {"sessionId", session}, {"sequence", 2}});
        p.SendMessage({{"type", "FINISHED"},
                       {"sessionId", session},
                       {"sequence", 3},
                       {"state", "FINISHED"},
                       {"reason", "error"},
                       {"message", hostile},
                       {"matches", {match}}});
        p.WaitForHangUp();
    });
    TerminalRun run({"http://radio/" + hostile, "--start", folder_.File("jingle.wav"), "-v",
                     "--control", peer.Uri(), "-o", OutputFile()},
                    80, {"TERM=xterm"});
    EXPECT_EQ(run.Finish(), 1);
    EXPECT_EQ(run.Screen().Fault(), "");
    ExpectLines(run.Screen(),
                {"Waiting for http://radio/?]0;owned??[2J", "Heard the recording ?]0;owned"});
}

TEST_F(LiveTerminalTest, WhatAStationSaysOfItselfIsNotShown) {
    StationRoute route;
    route.headers = {{"icy-name", "\x1b]0;owned\x07"}, {"icy-url", "\x1b[2J"}};
    Serve(route);
    const auto run = Start(80);
    FinishWell(*run);
}

}  // namespace receiver
