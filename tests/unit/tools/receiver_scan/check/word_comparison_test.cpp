#include "receiver_scan/check/word_comparison.h"

#include <gtest/gtest.h>

#include <vector>

#include "testing/audio_generator.h"

namespace receiver {
namespace {

std::vector<uint32_t> RandomWords(uint64_t seed, size_t count) {
    TestRandom random(seed);
    std::vector<uint32_t> words(count);
    for (uint32_t& word : words) word = static_cast<uint32_t>(random.Next());
    return words;
}

TEST(WordComparison, TheFirstWordIsNotCompared) {
    std::vector<uint32_t> words = RandomWords(1, 50);
    std::vector<uint32_t> other = words;
    other[0] = ~other[0];
    EXPECT_EQ(BitErrorRate(words, other), 0.0);
    other[1] = ~other[1];
    EXPECT_DOUBLE_EQ(BitErrorRate(words, other), 1.0 / 49.0);
}

TEST(WordComparison, AShiftedLoopIsAlikeButForWhatIsMissing) {
    std::vector<uint32_t> words;
    const std::vector<uint32_t> turn = RandomWords(1, 50);
    for (int i = 0; i < 8; ++i) words.insert(words.end(), turn.begin(), turn.end());
    const std::optional<Likeness> self = BestShiftedSelf(words);
    ASSERT_TRUE(self);
    EXPECT_EQ(self->word, 50u);
    EXPECT_NEAR(self->ber, 0.5 * 50 / 399, 1e-9);
}

TEST(WordComparison, WhatNeverRepeatsIsUnlikeItselfAtEveryShift) {
    const std::optional<Likeness> self = BestShiftedSelf(RandomWords(2, 400));
    ASSERT_TRUE(self);
    EXPECT_GT(self->ber, 0.4);
}

TEST(WordComparison, WhatNeverChangesHasNoShiftAtWhichItIsUnlike) {
    EXPECT_FALSE(BestShiftedSelf(std::vector<uint32_t>(100, 7)));
}

TEST(WordComparison, TheShorterIsFoundWhereItIsContained) {
    const std::vector<uint32_t> longer = RandomWords(3, 300);
    std::vector<uint32_t> shorter(longer.begin() + 120, longer.begin() + 180);
    shorter[5] ^= 1u;
    const Likeness likeness = BestPlaceWithin(shorter, longer);
    EXPECT_EQ(likeness.word, 120u);
    EXPECT_DOUBLE_EQ(likeness.ber, 1.0 / (59 * 32));
}

}  // namespace
}  // namespace receiver
