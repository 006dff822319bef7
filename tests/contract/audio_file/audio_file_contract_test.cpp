#include "contract/audio_file/audio_file_contract.h"

#include <cstring>
#include <limits>

#include "testing/pcm_reading.h"

namespace receiver {

TestPcm ContractPcm() {
    return MakeNoise(7, 44100, 2, 15000);
}

TEST_P(AudioFileContractTest, AClosedFileHasNoFormatAndLeavesThePointer) {
    const WAVEFORMATEX marker;
    const WAVEFORMATEX* format = &marker;
    EXPECT_EQ(File().GetFormat(&format), 4u);
    EXPECT_EQ(format, &marker);
    EXPECT_FALSE(File().IsOpen());
}

TEST_P(AudioFileContractTest, AClosedFileHasNoInfoAndWritesNone) {
    AudioFileInfo info;
    std::memset(&info, 0x5A, sizeof info);
    const AudioFileInfo before = info;
    EXPECT_EQ(File().GetInfo(&info), 0);
    EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0);
}

TEST_P(AudioFileContractTest, AClosedFileRefusesToRead) {
    uint8_t bytes[4];
    EXPECT_EQ(File().Read(bytes, sizeof bytes), -1);
}

TEST_P(AudioFileContractTest, AClosedFileRefusesToSeek) {
    EXPECT_EQ(File().Seek(0.0F), 0);
}

TEST_P(AudioFileContractTest, ItsFormatIsWhatItPlays) {
    ASSERT_TRUE(Open());
    EXPECT_TRUE(File().IsOpen());
    const WAVEFORMATEX* format = nullptr;
    ASSERT_EQ(File().GetFormat(&format), 0u);
    EXPECT_EQ(+format->wFormatTag, 1);
    EXPECT_EQ(+format->nChannels, 2);
    EXPECT_EQ(+format->nSamplesPerSec, 44100u);
    EXPECT_EQ(+format->wBitsPerSample, 16);
    EXPECT_EQ(+format->nBlockAlign, 4);
    EXPECT_EQ(+format->nAvgBytesPerSec, 176400u);
}

TEST_P(AudioFileContractTest, ItPlaysEverySampleAndThenEnds) {
    ASSERT_TRUE(Open());
    const ReadOutcome outcome = ReadToEnd(File());
    EXPECT_FALSE(outcome.overrun);
    EXPECT_EQ(outcome.last, 0);
    EXPECT_EQ(outcome.bytes, BytesOf(ContractPcm()));
}

TEST_P(AudioFileContractTest, OddPiecesGiveTheSamePcm) {
    ASSERT_TRUE(Open());
    // Whole frames: what analyses the audio takes nothing else.
    EXPECT_EQ(ReadToEnd(File(), {4, 1764, 12, 8000, 28}).bytes, BytesOf(ContractPcm()));
}

TEST_P(AudioFileContractTest, TheEndIsReportedAgainAndAgain) {
    ASSERT_TRUE(Open());
    ASSERT_EQ(ReadToEnd(File()).last, 0);
    uint8_t bytes[4];
    EXPECT_EQ(File().Read(bytes, sizeof bytes), 0);
    EXPECT_EQ(File().Read(bytes, sizeof bytes), 0);
}

TEST_P(AudioFileContractTest, ANullBufferIsAnErrorAndLosesNothing) {
    ASSERT_TRUE(Open());
    EXPECT_EQ(File().Read(nullptr, 4), -1);
    EXPECT_EQ(ReadToEnd(File()).bytes, BytesOf(ContractPcm()));
}

TEST_P(AudioFileContractTest, OpeningAnOpenFileFailsAndLeavesItPlaying) {
    ASSERT_TRUE(Open());
    ASSERT_EQ(ReadBytes(File(), 400).bytes.size(), 400u);
    EXPECT_FALSE(Open());
    EXPECT_TRUE(File().IsOpen());
    EXPECT_EQ(ReadToEnd(File()).bytes.size(), ContractPcm().Bytes() - 400);
}

TEST_P(AudioFileContractTest, SeeksThatAreNoPositionAreRefusedAndNothingMoves) {
    ASSERT_TRUE(Open());
    EXPECT_EQ(File().Seek(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(File().Seek(std::numeric_limits<float>::infinity()), 0);
    EXPECT_EQ(ReadToEnd(File()).bytes, BytesOf(ContractPcm()));
}

TEST_P(AudioFileContractTest, ThePositionIsUnknownBeforeAnySeek) {
    EXPECT_EQ(File().GetPositionMs(), 0xFFFFFFFFu);
    ASSERT_TRUE(Open());
    EXPECT_EQ(File().GetPositionMs(), 0xFFFFFFFFu);
}

TEST_P(AudioFileContractTest, ClosingMayBeRepeated) {
    EXPECT_EQ(File().Close(), 1);
}

TEST_P(AudioFileContractTest, AfterClosingNothingAnswers) {
    ASSERT_TRUE(Open());
    EXPECT_EQ(File().Close(), 1);
    EXPECT_EQ(File().Close(), 1);
    EXPECT_FALSE(File().IsOpen());
    uint8_t bytes[4];
    EXPECT_EQ(File().Read(bytes, sizeof bytes), -1);
    const WAVEFORMATEX* format = nullptr;
    EXPECT_EQ(File().GetFormat(&format), 4u);
    AudioFileInfo info{};
    EXPECT_EQ(File().GetInfo(&info), 0);
}

TEST_P(AudioFileContractTest, AClosedFileOpensAgainIfItsKindDoes) {
    ASSERT_TRUE(Open());
    ASSERT_EQ(ReadBytes(File(), 400).bytes.size(), 400u);
    ASSERT_EQ(File().Close(), 1);
    ASSERT_EQ(Open(), subject_->Reopens());
    if (subject_->Reopens()) {
        EXPECT_EQ(ReadToEnd(File()).bytes, BytesOf(ContractPcm()));
    }
}

}  // namespace receiver
