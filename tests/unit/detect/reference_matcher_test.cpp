#include "detect/reference_matcher.h"

#include <gtest/gtest.h>

#include <bit>
#include <vector>

#include "naive_detector.h"
#include "testing/audio_generator.h"

namespace receiver {
namespace {

constexpr uint64_t kHop = 100;  // source frames from one word to the next

ReferenceFingerprint RandomReference(TestRandom& random, size_t words) {
    ReferenceFingerprint reference;
    for (size_t i = 0; i < words; ++i) {
        reference.words.push_back(static_cast<uint32_t>(random.Next()));
    }
    return reference;
}

// `words` with exactly `bits` bits changed, none in word 0.
std::vector<uint32_t> WithErrors(std::vector<uint32_t> words, size_t bits, TestRandom& random) {
    std::vector<uint32_t> changed(words.size(), 0);
    while (bits > 0) {
        const uint32_t bit = 1u << random.Below(32);
        uint32_t& word = changed[1 + random.Below(words.size() - 1)];
        if (word & bit) continue;
        word |= bit;
        --bits;
    }
    for (size_t i = 0; i < words.size(); ++i) words[i] ^= changed[i];
    return words;
}

class ReferenceMatcherTest : public testing::Test {
protected:
    void Make(const std::vector<ReferenceFingerprint>& references, double threshold) {
        matcher_ = std::make_unique<ReferenceMatcher>(
            references, threshold, [this](const DetectorMatch& m) { matches_.push_back(m); });
        pushed_ = 0;
    }
    void Push(uint32_t word) {
        matcher_->Push(word, pushed_ * kHop, (pushed_ + 1) * 1000);
        ++pushed_;
    }
    void Push(const std::vector<uint32_t>& words) {
        for (const uint32_t word : words) Push(word);
    }
    void PushNoise(size_t count) {
        while (count-- > 0) Push(static_cast<uint32_t>(random_.Next()));
    }

    TestRandom random_{77};
    std::vector<DetectorMatch> matches_;
    std::unique_ptr<ReferenceMatcher> matcher_;
    uint64_t pushed_ = 0;
};

TEST_F(ReferenceMatcherTest, ReportsFiveWordsAfterTheLastOfTheReference) {
    const ReferenceFingerprint reference = RandomReference(random_, 40);
    Make({reference}, 0.14);
    PushNoise(7);
    Push(reference.words);
    PushNoise(4);
    EXPECT_TRUE(matches_.empty());
    PushNoise(1);
    ASSERT_EQ(matches_.size(), 1u);
    EXPECT_EQ(matches_[0], (DetectorMatch{0, 7 * kHop, (7 + 40 + 5) * 1000, 0.0}));
}

TEST_F(ReferenceMatcherTest, ComparesNothingUntilTheWholeReferenceCanHavePassed) {
    const ReferenceFingerprint reference = RandomReference(random_, 16);
    Make({reference}, 1.0);
    PushNoise(15);
    matcher_->Flush(0);
    EXPECT_TRUE(matches_.empty());
    PushNoise(1);
    matcher_->Flush(0);
    EXPECT_EQ(matches_.size(), 1u);
}

TEST_F(ReferenceMatcherTest, LeavesTheFirstWordOutOfTheComparison) {
    const ReferenceFingerprint reference = RandomReference(random_, 16);
    Make({reference}, 0.0);
    std::vector<uint32_t> words = reference.words;
    words[0] = ~words[0];
    Push(words);
    matcher_->Flush(0);
    ASSERT_EQ(matches_.size(), 1u);
    EXPECT_EQ(matches_[0].ber, 0.0);
}

TEST_F(ReferenceMatcherTest, ComparesTheSecondWord) {
    const ReferenceFingerprint reference = RandomReference(random_, 16);
    Make({reference}, 0.0);
    std::vector<uint32_t> words = reference.words;
    words[1] ^= 1;
    Push(words);
    matcher_->Flush(0);
    EXPECT_TRUE(matches_.empty());
}

TEST_F(ReferenceMatcherTest, LetsTheThresholdItselfPass) {
    const ReferenceFingerprint reference = RandomReference(random_, 26);  // 800 bits
    Make({reference}, 0.14);
    Push(WithErrors(reference.words, 112, random_));
    matcher_->Flush(0);
    ASSERT_EQ(matches_.size(), 1u);
    EXPECT_EQ(matches_[0].ber, 0.14);
}

TEST_F(ReferenceMatcherTest, LetsNothingAboveTheThresholdPass) {
    const ReferenceFingerprint reference = RandomReference(random_, 26);
    Make({reference}, 0.14);
    Push(WithErrors(reference.words, 113, random_));
    matcher_->Flush(0);
    EXPECT_TRUE(matches_.empty());
}

// All words alike, so that the reference fits again at each of the next words.
TEST_F(ReferenceMatcherTest, TakesALaterCandidateOnlyIfItIsBetter) {
    ReferenceFingerprint reference;
    reference.words.assign(16, 0);
    Make({reference}, 0.01);
    // 480 bits are compared: 4 differ, then 2, then 2 again, then 3.
    std::vector<uint32_t> words(16, 0);
    words[1] = 0x3;
    words[8] = 0x3;
    Push(words);
    Push({0, 0, 0x1});
    matcher_->Flush(9);
    ASSERT_EQ(matches_.size(), 1u);
    EXPECT_EQ(matches_[0], (DetectorMatch{0, kHop, 9, 2.0 / 480.0}));
}

TEST_F(ReferenceMatcherTest, MayArmAgainAfterAReport) {
    ReferenceFingerprint reference;
    reference.words.assign(16, 0x55555555);
    Make({reference}, 0.0);
    Push(std::vector<uint32_t>(16 + 5 + 6, 0x55555555));
    ASSERT_EQ(matches_.size(), 2u);
    EXPECT_EQ(matches_[0].sample, 0u);
    EXPECT_EQ(matches_[1].sample, 6 * kHop);
}

TEST_F(ReferenceMatcherTest, DoesNotMeasureANewCandidateAgainstTheLastReport) {
    const ReferenceFingerprint reference = RandomReference(random_, 26);
    Make({reference}, 0.14);
    Push(reference.words);
    PushNoise(30);
    ASSERT_EQ(matches_.size(), 1u);
    Push(WithErrors(reference.words, 100, random_));
    PushNoise(5);
    ASSERT_EQ(matches_.size(), 2u);
    EXPECT_EQ(matches_[1].sample, 56 * kHop);
    EXPECT_EQ(matches_[1].ber, 0.125);
}

TEST_F(ReferenceMatcherTest, ReportsReferencesIndependentlyAndInListOrder) {
    const ReferenceFingerprint longer = RandomReference(random_, 60);
    ReferenceFingerprint shorter;
    shorter.words.assign(longer.words.end() - 20, longer.words.end());
    ReferenceFingerprint earlier;
    earlier.words.assign(longer.words.end() - 22, longer.words.end() - 2);
    Make({longer, shorter, earlier}, 0.14);
    Push(longer.words);
    PushNoise(10);
    ASSERT_EQ(matches_.size(), 3u);
    EXPECT_EQ(matches_[0], (DetectorMatch{2, 38 * kHop, 63000, 0.0}));
    EXPECT_EQ(matches_[1], (DetectorMatch{0, 0, 65000, 0.0}));
    EXPECT_EQ(matches_[2], (DetectorMatch{1, 40 * kHop, 65000, 0.0}));
}

TEST_F(ReferenceMatcherTest, FlushesInListOrderAndOnce) {
    const ReferenceFingerprint reference = RandomReference(random_, 30);
    Make({reference, RandomReference(random_, 30), reference}, 0.14);
    Push(reference.words);
    matcher_->Flush(4711);
    matcher_->Flush(4712);
    ASSERT_EQ(matches_.size(), 2u);
    EXPECT_EQ(matches_[0], (DetectorMatch{0, 0, 4711, 0.0}));
    EXPECT_EQ(matches_[1], (DetectorMatch{2, 0, 4711, 0.0}));
}

TEST_F(ReferenceMatcherTest, ForgetsWordsAndCandidatesOnReset) {
    const ReferenceFingerprint reference = RandomReference(random_, 30);
    Make({reference}, 0.14);
    Push(reference.words);
    matcher_->Reset();
    matcher_->Flush(0);
    EXPECT_TRUE(matches_.empty());
    Push(std::vector<uint32_t>(reference.words.begin() + 1, reference.words.end()));
    matcher_->Flush(0);
    EXPECT_TRUE(matches_.empty());
}

struct StreamCase {
    const char* name;
    double threshold;
    uint32_t wordMask;  // few bits make ties frequent
};

class ReferenceMatcherStreamTest : public testing::TestWithParam<StreamCase> {};

// Long streams of noise with damaged and cut copies of the references in them.
TEST_P(ReferenceMatcherStreamTest, ReportsWhatTheRulesReadBitByBitDo) {
    TestRandom random(5);
    const uint32_t mask = GetParam().wordMask;
    std::vector<ReferenceFingerprint> references;
    for (const size_t words : {16u, 17u, 33u, 100u, 240u, 17u}) {
        references.push_back(RandomReference(random, words));
        for (uint32_t& word : references.back().words) word &= mask;
    }
    references.push_back(references[2]);

    std::vector<DetectorMatch> matches;
    ReferenceMatcher matcher(references, GetParam().threshold,
                             [&](const DetectorMatch& match) { matches.push_back(match); });
    NaiveMatcher naive(references, GetParam().threshold);
    uint64_t pushed = 0;
    const auto push = [&](uint32_t word) {
        ++pushed;
        matcher.Push(word, pushed * 551, pushed * 600);
        naive.Push(word, pushed * 551, pushed * 600);
    };
    while (pushed < 20000) {
        for (uint64_t noise = random.Below(60); noise > 0; --noise) {
            push(static_cast<uint32_t>(random.Next()) & mask);
        }
        const std::vector<uint32_t>& words = references[random.Below(references.size())].words;
        const size_t most = (words.size() - 1) * static_cast<size_t>(std::popcount(mask)) / 5;
        std::vector<uint32_t> copy = WithErrors(words, random.Below(most + 1), random);
        if (random.Below(4) == 0) copy = words;
        if (random.Below(4) == 0) copy.resize(copy.size() - random.Below(4));
        for (const uint32_t word : copy) push(word);
    }
    matcher.Flush(pushed);
    naive.Flush(pushed);

    EXPECT_GT(naive.matches.size(), 50u);
    EXPECT_EQ(matches, naive.matches);
}

INSTANTIATE_TEST_SUITE_P(
    Thresholds, ReferenceMatcherStreamTest,
    testing::Values(StreamCase{"None", 0.0, UINT32_MAX}, StreamCase{"NoneOfFewBits", 0.0, 0x11},
                    StreamCase{"Usual", 0.14, UINT32_MAX}, StreamCase{"UsualOfFewBits", 0.14, 0xF},
                    StreamCase{"Third", 1.0 / 3.0, UINT32_MAX},
                    StreamCase{"HalfOfFewBits", 0.05, 0xFFF}, StreamCase{"All", 1.0, UINT32_MAX},
                    StreamCase{"AllOfFewBits", 1.0, 0x1}),
    [](const testing::TestParamInfo<StreamCase>& which) { return which.param.name; });

}  // namespace
}  // namespace receiver
