// Where the recorder cuts: at the very samples of the recordings, or where the receiver would.
#include <gtest/gtest.h>

#include "record_run.h"
#include "testing/receiver_driver.h"
#include "testing/recording.h"
#include "testing/sound_effects.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

class CutTest : public testing::Test, public RecordRun {
protected:
    CutTest() { Serve(); }

    std::string Jingle() const { return folder_.File("jingle.wav"); }
    std::string Outro() const { return folder_.File("outro.wav"); }
    void ExpectRecorded(size_t first, size_t end) const {
        const nlohmann::json sidecar = Sidecar();
        EXPECT_EQ(sidecar["startSample"], first);
        EXPECT_EQ(sidecar["endSample"], end);
        EXPECT_EQ(sidecar["startIsExact"], true);
        EXPECT_TRUE(Recorded() == Slice(broadcast_.audio, first, end - first).samples);
    }
};

}  // namespace

TEST_F(CutTest, TheFileIsFromTheJinglesFirstSampleToTheOutrosLast) {
    ASSERT_EQ(Execute({"--end", Outro(), "-o", OutputFile()}), 0)
        << testing::PrintToString(Errors());
    ExpectRecorded(broadcast_.startJingleFrame, broadcast_.tailFrame);
    EXPECT_EQ(Sidecar()["endIsExact"], true);
}

TEST_F(CutTest, TheRecordingsAreCutOffWhereThatIsAskedFor) {
    ASSERT_EQ(Execute({"--end", Outro(), "--trim", "both", "-o", OutputFile()}), 0)
        << testing::PrintToString(Errors());
    ExpectRecorded(broadcast_.programmeFrame, broadcast_.endJingleFrame);
    ASSERT_EQ(Execute({"--max", "1s", "--trim", "start", "--force", "-o", OutputFile()}), 0)
        << testing::PrintToString(Errors());
    ExpectRecorded(broadcast_.programmeFrame, broadcast_.programmeFrame + 44100);
}

TEST_F(CutTest, TheJingleThatOpensAProgrammeDoesNotCloseItAtOnce) {
    ASSERT_EQ(Execute({"--end", Jingle(), "--end", Outro(), "-o", OutputFile()}), 0)
        << testing::PrintToString(Errors());
    ExpectRecorded(broadcast_.startJingleFrame, broadcast_.tailFrame);
}

TEST_F(CutTest, AnOutroBeforeTheMinimumDoesNotEndTheProgramme) {
    ASSERT_EQ(Execute({"--end", Outro(), "--min", "1m", "-o", OutputFile()}), 4)
        << testing::PrintToString(Errors());
    ExpectRecorded(broadcast_.startJingleFrame, broadcast_.audio.Frames());
}

TEST_F(CutTest, AMaximumOfADayIsTaken) {
    ASSERT_EQ(Execute({"--end", Outro(), "--max", "24h", "-o", OutputFile()}), 0)
        << testing::PrintToString(Errors());
    ExpectRecorded(broadcast_.startJingleFrame, broadcast_.tailFrame);
}

// The station plays other speeds than the files have, so that nothing but the detector can tell.
TEST_F(CutTest, WhereNoSampleIsSureTheFileIsTheReceiversOwnCutAndTheSummarySaysSo) {
    WriteWavFile(Jingle(), AtSpeed(broadcast_.startJingle, 1.002));
    WriteWavFile(Outro(), AtSpeed(broadcast_.endJingle, 1.002));
    const std::vector<ReferenceFile> references = {{"start", "start", Jingle()},
                                                   {"end", "end", Outro()}};
    ReceiverDriver receiver;
    receiver.Introduce();
    int session = 0;
    for (const auto& [maximumMs, fadeMs] :
         {std::pair{60000U, 0U}, {3000U, 700U}, {1234U, 1234U}, {4567U, 50U}, {5000U, 0U}}) {
        SCOPED_TRACE(maximumMs);
        const Recording own =
            Record(receiver, PrepareCommand("own-" + std::to_string(++session),
                                            station_.Url("/live"), references, maximumMs, fadeMs));
        ASSERT_EQ(Execute({"--end", Outro(), "--max", std::to_string(maximumMs) + "ms", "--fade",
                           std::to_string(fadeMs) + "ms", "--force", "-o", OutputFile()}),
                  0)
            << testing::PrintToString(Errors());
        nlohmann::json bounds = own.finished["program"];
        bounds.erase("sampleRate");
        EXPECT_EQ(Sidecar()["program"], bounds);
        // An end is heard some audio later, which a quick reader may have got by then.
        std::vector<int16_t> program = own.pcm;
        ASSERT_GE(program.size(), Sidecar()["frames"].get<size_t>() * 2);
        program.resize(Sidecar()["frames"].get<size_t>() * 2);
        EXPECT_EQ(Sidecar()["frames"],
                  bounds["endSample"].get<uint64_t>() - bounds["startSample"].get<uint64_t>());
        EXPECT_TRUE(Recorded() == program);
        EXPECT_EQ(Sidecar()["startIsExact"], false);
        EXPECT_NE(testing::PrintToString(Errors()).find("The start lies where"), std::string::npos);
    }
    receiver.Shutdown();
}

}  // namespace receiver
