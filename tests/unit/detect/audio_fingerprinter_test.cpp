#include "detect/audio_fingerprinter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "testing/audio_generator.h"

namespace receiver {
namespace {

CAudioFingerprinter MakeFingerprinter() {
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    return fingerprinter;
}

std::vector<int16_t> Music(uint64_t seed, size_t samples) {
    return MakeMusic(seed, kAnalysisRate, 1, samples).samples;
}

// The band differences by the definition of the transform, sum by sum.
std::vector<double> DifferencesByDefinition(const int16_t* samples) {
    constexpr int kSize = 8192;
    std::vector<std::complex<double>> turns(kSize);
    std::vector<double> windowed(kSize);
    for (int i = 0; i < kSize; ++i) {
        turns[i] = std::polar(1.0, -2.0 * std::numbers::pi * i / kSize);
        windowed[i] = samples[i] * 0.5 * (1.0 - std::cos(2.0 * std::numbers::pi * i / (kSize - 1)));
    }
    std::vector<double> energies;
    for (int band = 0; band < 33; ++band) {
        const auto edge = [](int k) {
            return static_cast<int>(300.0 * std::pow(10.0, k / 33.0) * kSize / 22050.0);
        };
        double energy = 0.0;
        for (int bin = edge(band); bin < edge(band + 1); ++bin) {
            std::complex<double> sum = 0.0;
            for (int i = 0; i < kSize; ++i) sum += windowed[i] * turns[bin * i % kSize];
            energy += std::norm(sum);
        }
        energies.push_back(energy);
    }
    std::vector<double> differences;
    for (int bit = 0; bit < 32; ++bit) differences.push_back(energies[bit] - energies[bit + 1]);
    return differences;
}

TEST(FrameClock, StepsByTheRunningSum) {
    FrameClock clock;
    std::vector<int64_t> starts;
    for (int frame = 0; frame < 9; ++frame) {
        starts.push_back(clock.StartSample());
        clock.Advance();
    }
    EXPECT_EQ(starts, (std::vector<int64_t>{0, 276, 551, 827, 1102, 1378, 1654, 1929, 2205}));
}

TEST(FrameClock, IsJustBelowASecondAfterEightySteps) {
    FrameClock clock;
    for (int frame = 0; frame < 80; ++frame) clock.Advance();
    EXPECT_EQ(clock.Seconds(), 0.9999999999999984);
    EXPECT_EQ(clock.StartSample(), 22050);
}

TEST(FrameClock, HopsBy275Or276SamplesForDays) {
    FrameClock clock;
    int64_t previous = 0;
    for (int frame = 0; frame < 2 * 24 * 3600 * 80; ++frame) {
        clock.Advance();
        const int64_t start = clock.StartSample();
        ASSERT_TRUE(start - previous == 275 || start - previous == 276) << "frame " << frame;
        previous = start;
    }
}

TEST(NearestPowerOfTwo, IsNearestInRatio) {
    EXPECT_EQ(NearestPowerOfTwo(8820), 8192u);
    EXPECT_EQ(NearestPowerOfTwo(1), 1u);
    EXPECT_EQ(NearestPowerOfTwo(2), 2u);
    EXPECT_EQ(NearestPowerOfTwo(3), 4u);
    EXPECT_EQ(NearestPowerOfTwo(8192), 8192u);
    EXPECT_EQ(NearestPowerOfTwo(11585), 8192u);  // 8192 * sqrt(2) = 11585.2
    EXPECT_EQ(NearestPowerOfTwo(11586), 16384u);
}

TEST(NearestPowerOfTwo, IsNoneBelowOne) {
    EXPECT_EQ(NearestPowerOfTwo(0), 0u);
    EXPECT_EQ(NearestPowerOfTwo(-8820), 0u);
    EXPECT_EQ(NearestPowerOfTwo(INT32_MIN), 0u);
}

TEST(NearestPowerOfTwo, IsNoneAboveTheLargestTransform) {
    EXPECT_EQ(NearestPowerOfTwo(700000000), 0x20000000u);
    EXPECT_EQ(NearestPowerOfTwo(0x30000000), 0u);
    EXPECT_EQ(NearestPowerOfTwo(INT32_MAX), 0u);
}

TEST(AudioFingerprinter, IsEmptyBeforeSetUp) {
    const CAudioFingerprinter fingerprinter;
    EXPECT_EQ(fingerprinter.FftSize(), 0u);
    EXPECT_EQ(fingerprinter.WindowLength(), 0u);
    EXPECT_TRUE(fingerprinter.BandEdges().empty());
}

TEST(AudioFingerprinter, SetsUpTheSystemsSizes) {
    const CAudioFingerprinter fingerprinter = MakeFingerprinter();
    EXPECT_EQ(fingerprinter.FftSize(), 8192u);
    EXPECT_EQ(fingerprinter.WindowLength(), 8192u);
    EXPECT_EQ(fingerprinter.FrameSeconds(), 8192.0 / 22050.0);
}

TEST(AudioFingerprinter, SetsUpTheBandEdges) {
    const CAudioFingerprinter fingerprinter = MakeFingerprinter();
    const auto edges = fingerprinter.BandEdges();
    EXPECT_EQ(std::vector<int32_t>(edges.begin(), edges.end()),
              (std::vector<int32_t>{111, 119, 128, 137, 147, 157, 169, 181, 194,  208, 223, 240,
                                    257, 276, 296, 317, 340, 364, 391, 419, 449,  482, 517, 554,
                                    594, 637, 683, 733, 786, 843, 904, 969, 1039, 1114}));
}

TEST(AudioFingerprinter, PadsAFrameShorterThanTheTransform) {
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(kAnalysisRate, 7000.0 / kAnalysisRate, kHopSeconds);
    EXPECT_EQ(fingerprinter.FftSize(), 8192u);
    EXPECT_EQ(fingerprinter.WindowLength(), 7000u);
}

TEST(AudioFingerprinter, GivesNoWordsWithoutATransform) {
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(kAnalysisRate, 90000.0, kHopSeconds);
    const std::vector<int16_t> samples = Music(1, 8192);
    EXPECT_EQ(fingerprinter.FftSize(), 0u);
    EXPECT_EQ(fingerprinter.WindowLength(), 0u);
    EXPECT_EQ(fingerprinter.ComputeWord(samples.data(), 8192, 0), 0u);
}

TEST(AudioFingerprinter, AgreesWithTheDefinitionOfTheTransform) {
    const std::vector<int16_t> samples = Music(2, 20000);
    CAudioFingerprinter fingerprinter = MakeFingerprinter();
    std::vector<double> previous(32, 0.0);
    int decided = 0;
    for (const size_t start : {0u, 276u, 551u, 11000u}) {
        const uint32_t word = fingerprinter.ComputeWord(samples.data() + start);
        const std::vector<double> differences = DifferencesByDefinition(samples.data() + start);
        double largest = 0.0;
        for (const double d : differences) largest = std::max(largest, std::abs(d));
        for (int bit = 0; bit < 32; ++bit) {
            const double delta = differences[bit] - previous[bit];
            if (std::abs(delta) < 1e-9 * largest) continue;
            ++decided;
            EXPECT_EQ((word >> bit) & 1u, delta > 0.0 ? 1u : 0u)
                << "bit " << bit << " of the frame at " << start;
        }
        previous = differences;
    }
    EXPECT_GE(decided, 4 * 30);
}

TEST(AudioFingerprinter, TakesItsFirstWordFromTheSignsOfTheDifferences) {
    const std::vector<int16_t> samples = Music(3, 8192);
    const std::vector<double> differences = DifferencesByDefinition(samples.data());
    uint32_t signs = 0;
    for (int bit = 0; bit < 32; ++bit) signs |= (differences[bit] > 0.0 ? 1u : 0u) << bit;
    EXPECT_EQ(MakeFingerprinter().ComputeWord(samples.data()), signs);
}

TEST(AudioFingerprinter, SetsTheBitsOfSilenceWhereTheDifferenceWasNegative) {
    const std::vector<int16_t> samples = Music(4, 8192);
    const std::vector<int16_t> silence(8192, 0);
    CAudioFingerprinter fingerprinter = MakeFingerprinter();
    const uint32_t first = fingerprinter.ComputeWord(samples.data());
    EXPECT_EQ(fingerprinter.ComputeWord(silence.data()), ~first);
    EXPECT_EQ(fingerprinter.ComputeWord(silence.data()), 0u);
}

TEST(AudioFingerprinter, GivesNoBitsForSilence) {
    const std::vector<int16_t> silence(8192, 0);
    EXPECT_EQ(MakeFingerprinter().ComputeWord(silence.data()), 0u);
}

TEST(AudioFingerprinter, ReadsZerosOutsideTheSamples) {
    const std::vector<int16_t> samples = Music(5, 10000);
    const auto count = static_cast<int64_t>(samples.size());
    for (const int64_t start : {-9000, -8192, -300, 0, 1500, 1808, 1809, 9999, 10000, 30000}) {
        std::vector<int16_t> padded(8192, 0);
        for (int64_t i = 0; i < 8192; ++i) {
            if (start + i >= 0 && start + i < count) padded[i] = samples[start + i];
        }
        EXPECT_EQ(MakeFingerprinter().ComputeWord(samples.data(), count, start),
                  MakeFingerprinter().ComputeWord(padded.data()))
            << "start " << start;
    }
}

TEST(AudioFingerprinter, StartsANewStreamWithSetUp) {
    const std::vector<int16_t> samples = Music(6, 9000);
    CAudioFingerprinter fingerprinter = MakeFingerprinter();
    const uint32_t first = fingerprinter.ComputeWord(samples.data());
    ASSERT_NE(fingerprinter.ComputeWord(samples.data()), first);
    fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    EXPECT_EQ(fingerprinter.ComputeWord(samples.data()), first);
}

}  // namespace
}  // namespace receiver
