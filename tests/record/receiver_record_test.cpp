// The outcomes of a recording: exit code, file, sidecar, messages.
#include <gmock/gmock.h>

#include <sstream>

#include "platform/clock.h"
#include "record_run.h"
#include "testing/receiver_driver.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

class ReceiverRecordTest : public testing::Test, public RecordRun {
protected:
    // The detector places the jingle within one step of its analysis.
    void ExpectExactFrom(const nlohmann::json& sidecar) const {
        const auto start = sidecar.at("startSample").get<uint64_t>();
        EXPECT_NEAR(static_cast<double>(start), static_cast<double>(broadcast_.startJingleFrame),
                    static_cast<double>(kHopSamples));
        const std::vector<int16_t> recorded = Recorded();
        EXPECT_EQ(recorded.size() / 2, sidecar.at("frames").get<uint64_t>());
        const TestPcm expected = Slice(broadcast_.audio, start, recorded.size() / 2);
        EXPECT_EQ(recorded, expected.samples);
    }
    bool PartFileIsLeft() const { return fs::exists(OutputFile() + ".part"); }
};

}  // namespace

TEST_F(ReceiverRecordTest, AProgramFromJingleToOutroIsExactAndComplete) {
    Serve();
    ASSERT_EQ(Execute({"--end", folder_.File("outro.wav"), "-o", OutputFile()}), 0)
        << testing::PrintToString(Errors());
    const nlohmann::json sidecar = Sidecar();
    EXPECT_EQ(sidecar["complete"], true);
    EXPECT_EQ(sidecar["program"]["reason"], "outro");
    EXPECT_EQ(sidecar["source"], station_.Url("/live"));
    EXPECT_EQ(sidecar["matches"].size(), 2u);
    EXPECT_EQ(sidecar["endSample"], sidecar["program"]["endSample"]);
    ExpectExactFrom(sidecar);
    EXPECT_FALSE(PartFileIsLeft());
    EXPECT_EQ(Output(), "");
}

TEST_F(ReceiverRecordTest, TheMaximumEndsAProgramToTheFrame) {
    Serve();
    ASSERT_EQ(Execute({"--max", "2s", "-o", OutputFile()}), 0) << testing::PrintToString(Errors());
    EXPECT_EQ(Sidecar()["frames"], 88200);
    EXPECT_EQ(Sidecar()["program"]["reason"], "maximum");
    ExpectExactFrom(Sidecar());
}

TEST_F(ReceiverRecordTest, TheFileHasTheBitRateThatIsAskedFor) {
    Serve();
    const std::string file = folder_.File("out.mp3");
    for (const int kbits : {64, 192}) {
        ASSERT_EQ(
            Execute({"--max", "4s", "--bitrate", std::to_string(kbits), "--force", "-o", file}), 0)
            << testing::PrintToString(Errors());
        const double bits = static_cast<double>(fs::file_size(file)) * 8;
        EXPECT_NEAR(bits / 4000, kbits, kbits * 0.2);
    }
}

TEST_F(ReceiverRecordTest, WithoutBoundsTheProgramLastsUntilTheSourceEnds) {
    Serve();
    ASSERT_EQ(Execute({"-o", OutputFile()}), 0) << testing::PrintToString(Errors());
    ExpectExactFrom(Sidecar());
    EXPECT_EQ(Sidecar()["endSample"], broadcast_.audio.Frames());
}

TEST_F(ReceiverRecordTest, StandardOutputCarriesTheWholeWavAndNothingElse) {
    Serve();
    ASSERT_EQ(Execute({"--max", "2s", "-o", "-"}), 0) << testing::PrintToString(Errors());
    WriteFileBytes(OutputFile(), Output());
    EXPECT_EQ(Recorded().size(), 88200u * 2);
}

TEST_F(ReceiverRecordTest, ASourceThatEndsWithoutAStartHasItsExitCodeAndLeavesNoFile) {
    Serve();
    // The outro is no start, and there is nothing else.
    WriteWavFile(folder_.File("jingle.wav"), MakeMusic(99, 44100, 2, 60000));
    EXPECT_EQ(Execute({"-o", OutputFile()}), 3) << testing::PrintToString(Errors());
    EXPECT_FALSE(fs::exists(OutputFile()));
    EXPECT_FALSE(PartFileIsLeft());
}

TEST_F(ReceiverRecordTest, WaitGivesUpOnAStartThatDoesNotCome) {
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.startJingleFrame);
    Serve(route);
    EXPECT_EQ(Execute({"--wait", "1s", "-o", OutputFile()}), 3) << testing::PrintToString(Errors());
    EXPECT_FALSE(PartFileIsLeft());
}

TEST_F(ReceiverRecordTest, ASourceThatFailsInTheProgramKeepsWhatCame) {
    StationRoute route;
    route.closeAfter = BodyBytes(broadcast_.endJingleFrame);
    Serve(route);
    EXPECT_EQ(Execute({"--max", "1m", "--reconnect", "0", "-o", OutputFile()}), 4)
        << testing::PrintToString(Errors());
    EXPECT_EQ(Sidecar()["complete"], false);
    ExpectExactFrom(Sidecar());
    EXPECT_GT(Sidecar()["frames"], 44100);
}

TEST_F(ReceiverRecordTest, ASourceThatEndsBeforeTheProgramIsASourceError) {
    Serve();
    EXPECT_EQ(Execute({"--max", "1m", "-o", OutputFile()}), 4) << testing::PrintToString(Errors());
    EXPECT_EQ(Sidecar()["message"], "The source ended before the programme did");
    EXPECT_EQ(Sidecar()["endSample"], broadcast_.audio.Frames());
    ExpectExactFrom(Sidecar());
}

TEST_F(ReceiverRecordTest, ASourceThatCannotBeOpenedIsASourceError) {
    EXPECT_EQ(Execute({"-o", OutputFile()}), 4) << testing::PrintToString(Errors());
    EXPECT_FALSE(fs::exists(OutputFile()));
}

TEST_F(ReceiverRecordTest, ARequestThatTheReceiverRefusesIsAFailureWithItsText) {
    ChildProcess process(RecordProgram(),
                         {"http://" + std::string(5000, 'x'), "--start", folder_.File("jingle.wav"),
                          "-o", OutputFile()},
                         ChildProcess::ErrorStream::kCapture);
    EXPECT_EQ(process.ReadErrorLine(TickMs() + kRunPatienceMs).value_or("").substr(20),
              "Nothing was recorded: Expected HTTP(S) source");
    EXPECT_EQ(process.WaitForExit(TickMs() + kRunPatienceMs), 1);
}

TEST_F(ReceiverRecordTest, ARecordingToListenForThatIsMissingIsNamed) {
    EXPECT_EQ(Execute({"--end", folder_.File("missing.wav"), "-o", OutputFile()}), 2);
    ASSERT_FALSE(Errors().empty());
    EXPECT_NE(Errors().back().find("No such file"), std::string::npos);
    EXPECT_NE(Errors().back().find("missing.wav"), std::string::npos);
    EXPECT_FALSE(PartFileIsLeft());
}

TEST_F(ReceiverRecordTest, ARecordingToListenForThatIsUnfitIsAUsageErrorInPlainWords) {
    Serve();
    WriteFileBytes(folder_.File("text.wav"), "no audio");
    WriteWavFile(folder_.File("short.wav"), MakeMusic(5, 44100, 2, 500));
    EXPECT_EQ(Execute({"--end", folder_.File("text.wav"), "-o", OutputFile()}), 2);
    ASSERT_FALSE(Errors().empty());
    EXPECT_NE(Errors().back().find("text.wav cannot be used"), std::string::npos)
        << Errors().back();
    EXPECT_EQ(Execute({"--end", folder_.File("short.wav"), "-o", OutputFile()}), 2);
    ASSERT_FALSE(Errors().empty());
    EXPECT_NE(Errors().back().find("short.wav cannot be used"), std::string::npos)
        << Errors().back();
    EXPECT_FALSE(PartFileIsLeft());
}

TEST_F(ReceiverRecordTest, AFolderThatIsMissingIsAnOutputErrorAndNamed) {
    EXPECT_EQ(Execute({"-o", folder_.File("none/out.wav")}), 6);
    ASSERT_FALSE(Errors().empty());
    EXPECT_NE(Errors().back().find("No such folder"), std::string::npos);
}

TEST_F(ReceiverRecordTest, AReceiverThatCannotBeStartedIsAFailure) {
    EXPECT_EQ(Execute({"--receiver", folder_.File("none"), "-o", OutputFile()}), 1);
}

TEST_F(ReceiverRecordTest, AFileThatExistsIsOverwrittenOnlyByForce) {
    Serve();
    WriteFileBytes(OutputFile(), "precious");
    EXPECT_EQ(Execute({"--max", "1s", "-o", OutputFile()}), 6);
    EXPECT_EQ(fs::file_size(OutputFile()), 8u);
    EXPECT_EQ(Execute({"--max", "1s", "-o", OutputFile(), "--force"}), 0);
    EXPECT_EQ(Recorded().size(), 44100u * 2);
}

TEST_F(ReceiverRecordTest, JsonTellsEveryEventAndTheOutcomeInLinesOfTheirOwn) {
    Serve();
    ASSERT_EQ(Execute({"--max", "2s", "--json", "--quiet", "-o", OutputFile()}), 0);
    EXPECT_TRUE(Errors().empty());
    std::vector<std::string> types;
    std::istringstream lines(Output());
    for (std::string line; std::getline(lines, line);) {
        types.push_back(nlohmann::json::parse(line).at("type"));
    }
    // The end of the programme is found in the audio, which the session may have served before.
    EXPECT_THAT(types, testing::UnorderedElementsAre("CONNECTED", "DETECTED", "READY",
                                                     "PROGRAM_END", "FINISHED", "RECORDED"));
    EXPECT_EQ(types.front(), "CONNECTED");
    EXPECT_EQ(types.back(), "RECORDED");
}

TEST_F(ReceiverRecordTest, ARunningReceiverIsJoinedAndKeepsRunning) {
    Serve();
    ReceiverDriver receiver;
    ASSERT_EQ(Execute({"--control", receiver.Uri(), "--max", "1s", "-o", OutputFile()}), 0)
        << testing::PrintToString(Errors());
    ASSERT_EQ(Execute({"--control", receiver.Uri(), "--max", "1s", "-o", OutputFile(), "--force"}),
              0);
    receiver.Introduce();
    receiver.Shutdown();
}

TEST_F(ReceiverRecordTest, AWrongCommandLineIsAUsageError) {
    EXPECT_EQ(Execute({"-o", "out.unknown"}), 2);
    EXPECT_EQ(Output(), "");
}

}  // namespace receiver
