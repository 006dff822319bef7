#include "detect/hamming.h"

#include <gtest/gtest.h>

#include <vector>

#include "random_words.h"
#include "testing/audio_generator.h"

namespace receiver {
namespace {

TEST(DifferingBits, AreCountedExactlyAtEveryLength) {
    TestRandom random(1);
    for (size_t words = 0; words <= 200; ++words) {
        const std::vector<uint32_t> a = RandomWords(random, words);
        const std::vector<uint32_t> b = RandomWords(random, words);
        EXPECT_EQ(DifferingBits(a.data(), b.data(), words, UINT64_MAX), CountBitByBit(a, b))
            << words << " words";
    }
}

TEST(DifferingBits, AreCountedExactlyAtEveryAlignment) {
    TestRandom random(2);
    const std::vector<uint32_t> a = RandomWords(random, 40);
    const std::vector<uint32_t> b = RandomWords(random, 41);
    const std::vector<uint32_t> shifted(b.begin() + 1, b.end());
    EXPECT_EQ(DifferingBits(a.data(), b.data() + 1, 40, UINT64_MAX), CountBitByBit(a, shifted));
}

TEST(DifferingBits, AreExactUpToTheLimitAndAboveItBeyond) {
    TestRandom random(3);
    for (const size_t words : {1u, 15u, 16u, 17u, 79u, 99u}) {
        const std::vector<uint32_t> a = RandomWords(random, words);
        const std::vector<uint32_t> b = RandomWords(random, words);
        const uint64_t exact = CountBitByBit(a, b);
        for (uint64_t limit = 0; limit <= 32 * words; ++limit) {
            const uint64_t bits = DifferingBits(a.data(), b.data(), words, limit);
            if (exact <= limit) {
                ASSERT_EQ(bits, exact) << words << " words, limit " << limit;
            } else {
                ASSERT_GT(bits, limit) << words << " words";
                ASSERT_LE(bits, exact) << words << " words";
            }
        }
    }
}

TEST(DifferingBits, StopBeforeTheFirstWordsOnceTheLimitIsPassed) {
    const std::vector<uint32_t> a(160, 0);
    const std::vector<uint32_t> b(160, UINT32_MAX);
    const uint64_t bits = DifferingBits(a.data(), b.data(), a.size(), 10);
    EXPECT_GT(bits, 10u);
    EXPECT_LT(bits, 160 * 32 / 2);
}

TEST(PassingBits, DecideByTheQuotient) {
    EXPECT_EQ(PassingBits(800, 0.14), 112u);
    EXPECT_EQ(PassingBits(800, 0.0), 0u);
    EXPECT_EQ(PassingBits(800, 1.0), 800u);
}

TEST(PassingBits, AreTheLastThatTheQuotientLetsPass) {
    for (uint64_t words = 15; words <= 400; ++words) {
        const uint64_t total = words * 32;
        for (const double threshold : {0.0, 1e-9, 0.07, 0.14, 0.25, 1.0 / 3.0, 0.999999, 1.0}) {
            uint64_t last = 0;
            for (uint64_t bits = 0; bits <= total; ++bits) {
                if (static_cast<double>(bits) / static_cast<double>(total) <= threshold) {
                    last = bits;
                }
            }
            ASSERT_EQ(PassingBits(total, threshold), last) << total << " bits at " << threshold;
        }
    }
}

}  // namespace
}  // namespace receiver
