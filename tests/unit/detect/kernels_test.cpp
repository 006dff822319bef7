#include "detect/kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "detect/audio_fingerprinter.h"
#include "random_words.h"
#include "testing/audio_generator.h"

namespace receiver {
namespace {

using Bins = std::vector<std::complex<double>>;

// Of all magnitudes, so that the order of a sum shows in its last bits.
Bins RandomBins(TestRandom& random, size_t count) {
    Bins bins(count);
    for (std::complex<double>& bin : bins) {
        bin = {std::ldexp(random.Between(-1.0, 1.0), static_cast<int>(random.Below(40))),
               std::ldexp(random.Between(-1.0, 1.0), static_cast<int>(random.Below(40)))};
    }
    return bins;
}

// The order by its statement, with no loop that a compiler could order anew.
double EnergyInTheStatedOrder(const Bins& bins) {
    volatile double sums[4] = {0.0, 0.0, 0.0, 0.0};
    const auto energy = [](const std::complex<double>& bin) {
        const volatile double re = bin.real() * bin.real();
        const volatile double im = bin.imag() * bin.imag();
        return re + im;
    };
    const size_t fours = bins.size() / 4 * 4;
    for (size_t i = 0; i < fours; ++i) sums[i % 4] = sums[i % 4] + energy(bins[i]);
    volatile double total = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    for (size_t i = fours; i < bins.size(); ++i) total = total + energy(bins[i]);
    return total;
}

bool SameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

class KernelsTest : public testing::TestWithParam<Kernels> {
protected:
    const Kernels& kernels_ = GetParam();
};

TEST_P(KernelsTest, WindowEverySampleAtEveryLengthAndAlignment) {
    TestRandom random(1);
    std::vector<int16_t> samples(9000);
    for (int16_t& sample : samples) sample = static_cast<int16_t>(random.Next());
    samples[3] = std::numeric_limits<int16_t>::min();
    samples[4] = std::numeric_limits<int16_t>::max();
    std::vector<double> window(9000);
    for (double& factor : window) factor = random.Unit();
    window[5] = 0.0;  // times a negative sample it is -0

    for (const size_t at : {0u, 1u, 2u, 3u}) {
        for (const size_t count : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 63u, 64u, 8191u, 8192u}) {
            Bins out(count + 1, {7.0, 7.0});
            kernels_.applyWindow(samples.data() + at, window.data() + at, count, out.data());
            for (size_t i = 0; i < count; ++i) {
                ASSERT_TRUE(SameBits(out[i].real(), samples[at + i] * window[at + i]))
                    << "value " << i << " of " << count;
                ASSERT_TRUE(SameBits(out[i].imag(), 0.0)) << "value " << i << " of " << count;
            }
            ASSERT_EQ(out[count], (std::complex<double>{7.0, 7.0})) << "written past " << count;
        }
    }
}

TEST_P(KernelsTest, SumEnergiesInTheStatedOrder) {
    TestRandom random(2);
    for (size_t count = 0; count <= 200; ++count) {
        for (int draw = 0; draw < 5; ++draw) {
            const Bins bins = RandomBins(random, count);
            ASSERT_TRUE(
                SameBits(kernels_.bandEnergy(bins.data(), count), EnergyInTheStatedOrder(bins)))
                << count << " bins";
        }
    }
}

TEST_P(KernelsTest, CountDifferingBitsExactlyAtEveryLengthAndAlignment) {
    TestRandom random(3);
    for (size_t words = 0; words <= 300; ++words) {
        const std::vector<uint32_t> a = RandomWords(random, words);
        const std::vector<uint32_t> b = RandomWords(random, words + 1);
        const std::vector<uint32_t> shifted(b.begin() + 1, b.end());
        ASSERT_EQ(kernels_.differingBits(a.data(), b.data() + 1, words, UINT64_MAX),
                  CountBitByBit(a, shifted))
            << words << " words";
    }
}

TEST_P(KernelsTest, CountDifferingBitsWhereAllDiffer) {
    for (size_t words = 0; words <= 2000; words += 125) {
        const std::vector<uint32_t> a(words, 0);
        const std::vector<uint32_t> b(words, UINT32_MAX);
        ASSERT_EQ(kernels_.differingBits(a.data(), b.data(), words, UINT64_MAX), 32 * words);
    }
}

TEST_P(KernelsTest, CountDifferingBitsUpToTheLimitAndAboveItBeyond) {
    TestRandom random(4);
    for (const size_t words : {1u, 15u, 16u, 17u, 63u, 64u, 65u, 130u}) {
        const std::vector<uint32_t> a = RandomWords(random, words);
        const std::vector<uint32_t> b = RandomWords(random, words);
        const uint64_t exact = CountBitByBit(a, b);
        for (uint64_t limit = 0; limit <= 32 * words; ++limit) {
            const uint64_t bits = kernels_.differingBits(a.data(), b.data(), words, limit);
            if (exact <= limit) {
                ASSERT_EQ(bits, exact) << words << " words, limit " << limit;
            } else {
                ASSERT_GT(bits, limit) << words << " words";
                ASSERT_LE(bits, exact) << words << " words";
            }
        }
    }
}

TEST_P(KernelsTest, CountFromTheLastWordAndStopOnceTheLimitIsPassed) {
    std::vector<uint32_t> a(400, 0);
    std::vector<uint32_t> b(400, UINT32_MAX);
    const uint64_t bits = kernels_.differingBits(a.data(), b.data(), a.size(), 10);
    EXPECT_GT(bits, 10u);
    EXPECT_LE(bits, 64u * 32u);
    // Nothing differs in the second half: the count has to come to the first.
    std::copy(a.begin() + 200, a.end(), b.begin() + 200);
    EXPECT_GT(kernels_.differingBits(a.data(), b.data(), a.size(), 10), 10u);
}

TEST_P(KernelsTest, GiveTheWordsOfThePortableOnes) {
    const size_t samples = kAnalysisRate * 3;
    const TestPcm sounds[] = {MakeMusic(6, kAnalysisRate, 1, samples),
                              MakeNoise(7, kAnalysisRate, 1, samples),
                              MakeTone(kAnalysisRate, 1, samples, 1000.0),
                              Concatenate({MakeMusic(8, kAnalysisRate, 1, samples / 2),
                                           MakeSilence(kAnalysisRate, 1, samples / 2),
                                           MakeMusic(9, kAnalysisRate, 1, samples / 2)})};
    for (const TestPcm& sound : sounds) {
        CAudioFingerprinter fingerprinter(kernels_);
        CAudioFingerprinter portable(AvailableKernels().front());
        fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
        portable.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
        const auto count = static_cast<int64_t>(sound.samples.size());
        for (int64_t start = -9000; start < count + 500; start += 276) {
            ASSERT_EQ(fingerprinter.ComputeWord(sound.samples.data(), count, start),
                      portable.ComputeWord(sound.samples.data(), count, start))
                << "frame at " << start;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, KernelsTest, testing::ValuesIn(AvailableKernels()),
                         [](const auto& kernels) { return std::string(kernels.param.name); });

TEST(AvailableKernels, BeginWithThePortableOnesAndEndWithTheFastest) {
    EXPECT_STREQ(AvailableKernels().front().name, "portable");
    EXPECT_EQ(&AvailableKernels().back(), &FastestKernels());
}

}  // namespace
}  // namespace receiver
