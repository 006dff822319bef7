#include "detect/fingerprint_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "testing/audio_generator.h"
#include "whole_buffer_words.h"

namespace receiver {
namespace {

class FingerprintStreamTest : public testing::Test {
protected:
    void SetUp() override { stream_.SetUp(); }

    static std::vector<int16_t> Music(uint64_t seed, size_t samples) {
        return MakeMusic(seed, kAnalysisRate, 1, samples).samples;
    }

    // Pieces of the sizes that `nextSize` gives.
    template <typename NextSize>
    void AppendInPieces(const std::vector<int16_t>& samples, NextSize nextSize) {
        for (size_t position = 0; position < samples.size();) {
            const size_t size = std::min<size_t>(nextSize(), samples.size() - position);
            ASSERT_TRUE(stream_.AppendWords(samples.data() + position, size, words_));
            ASSERT_LE(stream_.HeldSamples(), 2 * kWindow);
            position += size;
        }
    }

    FingerprintStream stream_;
    std::vector<uint32_t> words_;
};

TEST_F(FingerprintStreamTest, GivesTheWordsOfTheWholeWhateverThePieces) {
    const std::vector<int16_t> samples = Music(1, 50001);
    const std::vector<uint32_t> expected = WholeFrameWords(samples);
    ASSERT_EQ(expected.size(), 152u);
    for (const size_t size : {1u, 7u, 275u, 276u, 4096u, 8191u, 8192u, 8193u, 16385u, 50001u}) {
        stream_.SetUp();
        words_.clear();
        AppendInPieces(samples, [&] { return size; });
        EXPECT_EQ(words_, expected) << "pieces of " << size;
        EXPECT_EQ(stream_.SampleCount(), samples.size());
    }
}

TEST_F(FingerprintStreamTest, GivesTheWordsOfTheWholeInPiecesOfAllSizes) {
    const std::vector<int16_t> samples = Music(2, 22050 * 20);
    TestRandom random(3);
    AppendInPieces(samples, [&] { return 1 + random.Below(20000); });
    EXPECT_EQ(words_, WholeFrameWords(samples));
}

TEST_F(FingerprintStreamTest, TakesAFrameOnTheSampleThatCompletesIt) {
    const std::vector<int16_t> samples = Music(4, 12326);
    for (const size_t count : {8191u, 8192u, 8467u, 8468u, 12325u, 12326u}) {
        stream_.SetUp();
        words_.clear();
        ASSERT_TRUE(stream_.AppendWords(samples.data(), count, words_));
        EXPECT_EQ(words_, WholeFrameWords({samples.begin(), samples.begin() + count})) << count;
    }
    EXPECT_EQ(words_.size(), 16u);
}

TEST_F(FingerprintStreamTest, PadsTheFramesThatStartWithinTheAudio) {
    for (const size_t count : {1u, 275u, 276u, 1000u, 8191u, 8192u, 8193u, 22050u, 50000u}) {
        const std::vector<int16_t> samples = Music(5, count);
        stream_.SetUp();
        words_.clear();
        AppendInPieces(samples, [] { return 999; });
        stream_.AppendPaddedWords(words_);
        EXPECT_EQ(words_, PaddedWords(samples)) << count << " samples";
    }
}

TEST_F(FingerprintStreamTest, PadsNothingWithoutAudio) {
    stream_.AppendPaddedWords(words_);
    EXPECT_TRUE(words_.empty());
}

TEST_F(FingerprintStreamTest, HoldsNoMoreThanTwoWindowsOfLongAudio) {
    const std::vector<int16_t> samples = Music(6, 22050 * 60);
    ASSERT_TRUE(stream_.AppendWords(samples.data(), samples.size(), words_));
    EXPECT_EQ(stream_.SampleCount(), samples.size());
    EXPECT_GE(stream_.HeldSamples(), kWindow);
    EXPECT_LE(stream_.HeldSamples(), 2 * kWindow);
}

TEST_F(FingerprintStreamTest, GivesNoWordOnceAStopIsRequested) {
    const std::vector<int16_t> samples = Music(7, 22050 * 60);
    int asked = 0;
    EXPECT_FALSE(
        stream_.AppendWords(samples.data(), samples.size(), words_, [&] { return ++asked == 6; }));
    EXPECT_EQ(asked, 6);
    EXPECT_EQ(words_.size(), 5u);
}

TEST_F(FingerprintStreamTest, StartsAfreshWithSetUp) {
    const std::vector<int16_t> samples = Music(8, 20000);
    ASSERT_TRUE(stream_.AppendWords(samples.data(), 15000, words_));
    stream_.SetUp();
    EXPECT_EQ(stream_.SampleCount(), 0u);
    EXPECT_EQ(stream_.HeldSamples(), 0u);
    words_.clear();
    ASSERT_TRUE(stream_.AppendWords(samples.data(), samples.size(), words_));
    EXPECT_EQ(words_, WholeFrameWords(samples));
}

TEST_F(FingerprintStreamTest, FeedStopsAtTheSampleThatCompletesTheFrame) {
    const std::vector<int16_t> samples = Music(9, 10000);
    EXPECT_EQ(stream_.Feed(samples.data(), 8000), 8000u);
    EXPECT_FALSE(stream_.IsFrameComplete());
    EXPECT_EQ(stream_.Feed(samples.data() + 8000, 2000), 192u);
    EXPECT_TRUE(stream_.IsFrameComplete());
    EXPECT_TRUE(stream_.IsFrameWhole());
    EXPECT_EQ(stream_.FrameStart(), 0u);
    stream_.Advance();
    EXPECT_FALSE(stream_.IsFrameComplete());
    EXPECT_EQ(stream_.FrameStart(), 276u);
}

TEST_F(FingerprintStreamTest, AFrameThatIsNotTakenInTimeIsLost) {
    const std::vector<int16_t> samples = Music(10, 10000);
    ASSERT_EQ(stream_.Feed(samples.data(), 10000), 8192u);
    EXPECT_EQ(stream_.Feed(samples.data() + 8192, 1000), 1u);
    EXPECT_TRUE(stream_.IsFrameComplete());
    EXPECT_FALSE(stream_.IsFrameWhole());
}

}  // namespace
}  // namespace receiver
