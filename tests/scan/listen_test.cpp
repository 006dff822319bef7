// "receiver-scan listen" as people run it: what it prints, writes, and how it exits.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "scan_run.h"
#include "testing/broadcast.h"
#include "testing/http_station.h"
#include "testing/sound_effects.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

using nlohmann::json;
using testing::Test;

class ListenTest : public Test {
protected:
    ListenTest() {
        const int rate = 44100;
        const Broadcast broadcast = MakeBroadcast(rate, 2);
        WriteWavFile(File("start.wav"), broadcast.startJingle);
        WriteWavFile(File("end.wav"), broadcast.endJingle);
        WriteWavFile(File("other.wav"), MakeMusic(777, rate, 1, 2 * rate));
        // The same again, its start jingle under a voice.
        const TestPcm covered = MixedAt(
            broadcast.startJingle, MakeVoice(3, rate, 2, broadcast.startJingle.Frames()), 0, 4);
        aircheck_ = Concatenate({broadcast.audio, covered, MakeMusic(5, rate, 2, rate)});
        WriteWavFile(File("aircheck.wav"), aircheck_);
    }
    std::string File(const std::string& name) const { return folder_.File(name); }
    std::vector<std::string> Arguments(const std::vector<std::string>& further = {}) const {
        std::vector<std::string> arguments = {
            "listen", File("aircheck.wav"), "--start", File("start.wav"),
            "--end",  File("end.wav"),      "--other", File("other.wav")};
        arguments.insert(arguments.end(), further.begin(), further.end());
        return arguments;
    }

    const TempFolder folder_;
    TestPcm aircheck_;
};

void ExpectParts(const std::string& text, const std::vector<std::string>& parts) {
    for (const std::string& part : parts) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
}

}  // namespace

TEST_F(ListenTest, TheTableTellsWhatTheReceiverDoesAndWhatItNearlyHeard) {
    const ScanRun run = RunScan(Arguments());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    ExpectParts(run.output,
                {File("aircheck.wav") + ": ", " heard, 2 channels\n\nTIME ", "THE RECEIVER\n",
                 "starts the programme\n", "ends the programme behind it\n", "\nNear misses:\n",
                 "start (start): heard once\n", "end (end): heard once\n",
                 "other (other): not heard; the nearest place is ",
                 "The programme: from 00:00:01.5", "an end recording ends it\n"});
}

TEST_F(ListenTest, JsonHasAnObjectForEachMatchAndNearMissAndASummary) {
    const ScanRun run = RunScan(Arguments({"--json"}));
    EXPECT_EQ(run.exitCode, 0);
    const std::vector<json> matches = run.Objects("match");
    ASSERT_EQ(matches.size(), 2u) << run.output;
    EXPECT_EQ(matches[0]["fate"], "starts-programme");
    EXPECT_EQ(matches[1]["fate"], "ends-programme");
    EXPECT_NEAR(matches[0]["seconds"].get<double>(), 1.5, 0.02);
    EXPECT_DOUBLE_EQ(matches[0]["margin"].get<double>() + matches[0]["ber"].get<double>(), 0.14)
        << matches[0];
    const std::vector<json> misses = run.Objects("near-miss");
    ASSERT_EQ(misses.size(), 1u) << run.output;
    EXPECT_EQ(misses[0]["referenceId"], "start");
    EXPECT_FALSE(misses[0]["cause"]["text"].get<std::string>().empty());
    const json summary = run.Objects().back();
    EXPECT_EQ(summary["type"], "summary");
    EXPECT_EQ(summary["samples"], aircheck_.Frames());
    EXPECT_EQ(summary["end"], "source-ended");
    EXPECT_EQ(summary["references"].size(), 3u);
    EXPECT_EQ(summary["references"][2]["matches"], 0);
    EXPECT_EQ(summary["program"]["reason"], "outro");
}

TEST_F(ListenTest, NearMissesCanBeLeftOut) {
    EXPECT_TRUE(RunScan(Arguments({"--json", "--near", "0"})).Objects("near-miss").empty());
}

TEST_F(ListenTest, TheCurveHasALineForEachWordAndAColumnForEachRecording) {
    const ScanRun run = RunScan(
        Arguments({"--ber", File("curve.csv"), "--dump-words", File("words.hash"), "--json"}));
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    std::ifstream file(File("curve.csv"));
    std::string line;
    std::getline(file, line);
    EXPECT_EQ(line, "seconds,sample,start,end,other");
    size_t lines = 0;
    double lowest = 1.0;
    for (; std::getline(file, line); ++lines) {
        const size_t third = line.find(',', line.find(',') + 1) + 1;
        if (line[third] != ',') lowest = std::min(lowest, std::stod(line.substr(third)));
    }
    EXPECT_NEAR(lowest, run.Objects("match")[0]["ber"].get<double>(), 1e-5);
    EXPECT_EQ(std::filesystem::file_size(File("words.hash")), 4 * lines);
}

TEST_F(ListenTest, NothingHeardHasAnExitCodeOfItsOwn) {
    const ScanRun run = RunScan({"listen", File("aircheck.wav"), "--start", File("other.wav")});
    EXPECT_EQ(run.exitCode, 3);
    ExpectParts(run.output, {"No recording was heard.\n", "No programme: "});
}

TEST_F(ListenTest, AWrongCommandLineIsNamed) {
    const auto mistake = [&](const std::vector<std::string>& arguments) {
        const ScanRun run = RunScan(arguments);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_NE(run.errors.find("Try \"receiver-scan"), std::string::npos) << run.errors;
        return run.errors;
    };
    ExpectParts(mistake({}), {"receiver-scan: a command is missing"});
    ExpectParts(mistake({"sing"}), {"no command \"sing\""});
    ExpectParts(mistake({"listen"}), {"receiver-scan listen: SOURCE is required"});
    ExpectParts(mistake({"listen", File("aircheck.wav")}), {"nothing to listen for"});
    ExpectParts(mistake(Arguments({"--for", "soon"})), {"--for", "soon"});
    ExpectParts(mistake(Arguments({"--report", "page.wav"})), {"--report", ".html"});
    ExpectParts(mistake({"listen", File("aircheck.wav"), "--start", File("none.wav")}),
                {File("none.wav") + ": it is missing"});
}

TEST_F(ListenTest, ASourceThatCannotBeReadIsNamedWithoutItsSecrets) {
    const ScanRun run = RunScan({"listen", "http://me:pw@127.0.0.1:1/live?token=x", "--start",
                                 File("start.wav"), "--io-timeout", "2s"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.errors.rfind("receiver-scan: cannot open http://127.0.0.1:1/live: ", 0), 0u)
        << run.errors;
}

TEST_F(ListenTest, AnOutputThatCannotBeWrittenIsNamed) {
    const ScanRun run = RunScan(Arguments({"--ber", File("no/folder/curve.csv")}));
    EXPECT_EQ(run.exitCode, 6);
    ExpectParts(run.errors, {"curve.csv"});
}

TEST_F(ListenTest, AStreamIsListenedToForAsLongAsWasAskedFor) {
    HttpStation station;
    StationRoute route;
    route.body = WavBytes(aircheck_);
    station.Serve("/live", route);
    const ScanRun run = RunScan(
        {"listen", station.Url("/live"), "--for", "3s", "--start", File("start.wav"), "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    const json summary = run.Objects().back();
    EXPECT_EQ(summary["samples"], 3 * 44100);
    EXPECT_EQ(summary["end"], "stopped");
    EXPECT_EQ(summary["program"]["goesOn"], true);
}

TEST_F(ListenTest, AStreamThatBreaksOffShowsWhatWasHeardUntilThen) {
    HttpStation station;
    StationRoute route;
    route.body = WavBytes(aircheck_);
    route.closeAfter = route.body.size() / 2;
    station.Serve("/live", route);
    const ScanRun run =
        RunScan({"listen", station.Url("/live"), "--start", File("start.wav"), "--json"});
    EXPECT_EQ(run.exitCode, 4) << run.errors << run.output;
    EXPECT_EQ(run.Objects("match").size(), 1u);
    EXPECT_EQ(run.Objects().back()["end"], "source-failed");
}

}  // namespace receiver
