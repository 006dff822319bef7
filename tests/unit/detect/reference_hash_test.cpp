#include "detect/reference_hash.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"
#include "whole_buffer_words.h"

namespace receiver {
namespace {

std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class ReferenceHashTest : public testing::Test {
protected:
    std::string Wav(const TestPcm& pcm) {
        const std::string path = folder_.File("jingle.wav");
        WriteWavFile(path, pcm);
        return path;
    }

    TempFolder folder_;
    std::vector<uint32_t> words_{1, 2, 3};
    std::string message_;
};

TEST_F(ReferenceHashTest, HoldsEightyOneWordsForASecond) {
    const std::string path = Wav(MakeMusic(1, 22050, 1, 22050));
    ASSERT_TRUE(DumpReferenceHash(path, &message_));
    EXPECT_EQ(message_, "81 frames, 1 ch @ 22050 Hz -> " + path + ".hash");
    EXPECT_EQ(BytesOf(path + ".hash").size(), 324u);
}

TEST_F(ReferenceHashTest, IsTheBareWordsInTimeOrder) {
    const TestPcm pcm = MakeMusic(2, 22050, 1, 40000);
    const std::string path = Wav(pcm);
    ASSERT_TRUE(DumpReferenceHash(path, &message_));
    std::string expected;
    for (const uint32_t word : PaddedWords(pcm.samples)) {
        for (int shift = 0; shift < 32; shift += 8) {
            expected.push_back(static_cast<char>(word >> shift & 0xFF));
        }
    }
    EXPECT_EQ(BytesOf(path + ".hash"), expected);
}

TEST_F(ReferenceHashTest, CoversAFileShorterThanAFrame) {
    const TestPcm pcm = MakeMusic(3, 22050, 1, 1000);
    ASSERT_TRUE(FingerprintFile(Wav(pcm), &words_, &message_));
    EXPECT_EQ(words_.size(), 4u);
    EXPECT_EQ(words_, PaddedWords(pcm.samples));
}

TEST_F(ReferenceHashTest, ReplacesTheFileBefore) {
    const std::string path = Wav(MakeMusic(4, 22050, 1, 44100));
    ASSERT_TRUE(DumpReferenceHash(path, &message_));
    Wav(MakeMusic(4, 22050, 1, 22050));
    ASSERT_TRUE(DumpReferenceHash(path, &message_));
    EXPECT_EQ(BytesOf(path + ".hash").size(), 324u);
}

TEST_F(ReferenceHashTest, NamesChannelsAndRate) {
    ASSERT_TRUE(FingerprintFile(Wav(MakeMusic(5, 22050, 6, 22050)), &words_, &message_));
    EXPECT_EQ(message_, "81 frames, 6 ch @ 22050 Hz");
}

// A frame that a read cuts is completed by the next one.
TEST_F(ReferenceHashTest, LosesNoFrameOfAnyChannelCount) {
    for (int channels = 1; channels <= 8; ++channels) {
        const TestPcm pcm = MakeMusic(6, 22050, channels, 60000);
        ASSERT_TRUE(FingerprintFile(Wav(pcm), &words_, &message_));
        EXPECT_EQ(words_, PaddedWords(MixedByDefinition(pcm))) << channels << " channels";
    }
}

TEST_F(ReferenceHashTest, FailsOnWhatIsNoAudio) {
    const std::string path = folder_.File("letter.txt");
    WriteFileBytes(path, "no audio at all\n");
    EXPECT_FALSE(DumpReferenceHash(path, &message_));
    EXPECT_EQ(message_, "decode failed (FFmpeg Open)");
    EXPECT_FALSE(std::filesystem::exists(path + ".hash"));
}

TEST_F(ReferenceHashTest, FailsOnAMissingFileAndEmptiesTheWords) {
    EXPECT_FALSE(FingerprintFile(folder_.File("missing.wav"), &words_, &message_));
    EXPECT_EQ(message_, "decode failed (FFmpeg Open)");
    EXPECT_TRUE(words_.empty());
}

TEST_F(ReferenceHashTest, FailsOnARecordingWithoutSamples) {
    const std::string path = Wav(MakeSilence(22050, 1, 0));
    EXPECT_FALSE(DumpReferenceHash(path, &message_));
    EXPECT_EQ(message_, "no audio decoded");
    EXPECT_FALSE(std::filesystem::exists(path + ".hash"));
}

TEST_F(ReferenceHashTest, FailsWhereItCannotBeWritten) {
    const std::string path = Wav(MakeMusic(7, 22050, 1, 22050));
    std::filesystem::create_directory(path + ".hash");
    EXPECT_FALSE(DumpReferenceHash(path, &message_));
    EXPECT_EQ(message_, "cannot open output .hash");
}

}  // namespace
}  // namespace receiver
