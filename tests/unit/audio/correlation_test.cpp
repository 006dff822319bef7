#include "audio/correlation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "testing/audio_generator.h"

namespace receiver {
namespace {

std::vector<float> Noise(uint64_t seed, size_t length, double scale = 1000) {
    TestRandom random(seed);
    std::vector<float> signal(length);
    for (float& sample : signal) sample = static_cast<float>(random.Between(-scale, scale));
    return signal;
}

float AlikeAt(const std::vector<float>& pattern, const std::vector<float>& signal, size_t at) {
    double products = 0, a = 0, b = 0;
    for (size_t i = 0; i < pattern.size(); ++i) {
        products += static_cast<double>(pattern[i]) * signal[at + i];
        a += static_cast<double>(pattern[i]) * pattern[i];
        b += static_cast<double>(signal[at + i]) * signal[at + i];
    }
    return static_cast<float>(products / std::sqrt(a * b));
}

}  // namespace

TEST(Correlation, IsThatOfTheDefinitionAtEveryPlace) {
    for (const size_t length : {16U, 63U, 64U, 65U, 257U}) {
        const auto pattern = Noise(1, length);
        const auto signal = Noise(2, 5000);
        const auto alike = Correlate(pattern, signal);
        ASSERT_EQ(alike.size(), signal.size() - length + 1);
        for (size_t at = 0; at < alike.size(); ++at) {
            ASSERT_NEAR(alike[at], AlikeAt(pattern, signal, at), 1e-4) << length << " at " << at;
        }
    }
}

// The transforms have a greatest length, and the pattern none.
TEST(Correlation, ALongPatternIsComparedAsAWhole) {
    const auto pattern = Noise(8, 100001);
    const auto signal = Noise(9, 100100);
    const auto alike = Correlate(pattern, signal);
    ASSERT_EQ(alike.size(), 100U);
    for (size_t at = 0; at < alike.size(); ++at) {
        ASSERT_NEAR(alike[at], AlikeAt(pattern, signal, at), 1e-4) << at;
    }
}

TEST(Correlation, APieceOfTheSignalIsFoundWhereItLiesWhateverItsLoudness) {
    const auto signal = Noise(3, 100000);
    std::vector<float> pattern(signal.begin() + 77777, signal.begin() + 77777 + 3000);
    for (float& sample : pattern) sample *= 0.01F;
    const auto alike = Correlate(pattern, signal);
    const auto best = std::max_element(alike.begin(), alike.end());
    EXPECT_EQ(best - alike.begin(), 77777);
    EXPECT_NEAR(*best, 1, 1e-4);
}

TEST(Correlation, WhereThereIsNoSignalNothingIsAlike) {
    std::vector<float> signal = Noise(4, 3000);
    signal.resize(6000);
    const auto alike = Correlate(Noise(5, 500), signal);
    EXPECT_EQ(std::count(alike.begin() + 3100, alike.end(), 0.0F),
              alike.end() - alike.begin() - 3100);
    EXPECT_TRUE(Correlate(std::vector<float>(100), signal).empty());
}

TEST(Correlation, APatternThatDoesNotFitIsNowhere) {
    EXPECT_TRUE(Correlate(Noise(6, 11), Noise(7, 10)).empty());
    EXPECT_TRUE(Correlate({}, Noise(7, 10)).empty());
    EXPECT_EQ(Correlate(Noise(6, 10), Noise(7, 10)).size(), 1U);
}

}  // namespace receiver
