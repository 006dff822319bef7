#include "audio/pcm_rate_converter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "testing/audio_generator.h"

namespace receiver {
namespace {

std::vector<int16_t> ConvertInPieces(const TestPcm& pcm, uint32_t rate, size_t piece) {
    PcmRateConverter converter;
    EXPECT_TRUE(
        converter.Open(static_cast<uint32_t>(pcm.rate), rate, static_cast<uint16_t>(pcm.channels)));
    std::vector<uint8_t> bytes;
    const auto channels = static_cast<size_t>(pcm.channels);
    for (size_t at = 0; at < pcm.Frames(); at += piece) {
        EXPECT_TRUE(converter.Convert(pcm.samples.data() + at * channels,
                                      std::min(piece, pcm.Frames() - at), bytes));
    }
    std::vector<int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), bytes.size());
    return samples;
}

}  // namespace

TEST(PcmRateConverter, TheSameRateIsLeftAlone) {
    const TestPcm noise = MakeNoise(1, 44100, 2, 10000);
    EXPECT_TRUE(ConvertInPieces(noise, 44100, 333) == noise.samples);
}

TEST(PcmRateConverter, PiecesOfAnySizeGiveTheSameSamples) {
    const TestPcm noise = MakeNoise(2, 48000, 6, 20000);
    const auto whole = ConvertInPieces(noise, 44100, 20000);
    EXPECT_NEAR(static_cast<double>(whole.size()) / 6, 20000.0 * 441 / 480, 40);
    for (const size_t piece : {1U, 160U, 4096U}) {
        EXPECT_TRUE(ConvertInPieces(noise, 44100, piece) == whole) << piece;
    }
}

TEST(PcmRateConverter, AToneKeepsItsPitchAndItsPlace) {
    const auto converted = ConvertInPieces(MakeTone(48000, 1, 48000, 500), 44100, 1000);
    const TestPcm tone = MakeTone(44100, 1, 44100, 500);
    for (size_t i = 500; i < 43000; ++i) ASSERT_NEAR(converted[i], tone.samples[i], 40) << i;
}

TEST(PcmRateConverter, WhatCannotBeConvertedIsRefused) {
    PcmRateConverter converter;
    EXPECT_FALSE(converter.Open(0, 44100, 2));
    EXPECT_FALSE(converter.Open(44100, 0, 2));
    EXPECT_FALSE(converter.Open(44100, 44100, 0));
    EXPECT_FALSE(converter.Open(0xFFFFFFFF, 44100, 2));
}

}  // namespace receiver
