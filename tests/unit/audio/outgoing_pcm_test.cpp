#include "audio/outgoing_pcm.h"

#include <gtest/gtest.h>

#include "testing/audio_generator.h"

namespace receiver {
namespace {

std::vector<int16_t> TakeAll(OutgoingPcm& pcm, size_t step) {
    std::vector<int16_t> samples;
    while (pcm.Take(step, samples) > 0) {
    }
    return samples;
}

}  // namespace

TEST(OutgoingPcm, GivesWhatWasAppendedInOrderInStepsOfAnySize) {
    const std::vector<int16_t> first = MakeNoise(1, 1000, 2, 1000).samples;
    const std::vector<int16_t> second = MakeNoise(2, 1000, 2, 500).samples;
    std::vector<int16_t> all = first;
    all.resize(all.size() + size_t{2} * 300);
    all.insert(all.end(), second.begin(), second.end());
    for (const size_t step : {1U, 7U, 250U, 100000U}) {
        OutgoingPcm pcm(2);
        pcm.Append(first.data(), 600);
        pcm.Append(first.data() + 1200, 400);
        pcm.AppendSilence(300);
        pcm.Append(second.data(), 500);
        EXPECT_EQ(pcm.Frames(), 1800U);
        EXPECT_EQ(TakeAll(pcm, step), all) << step;
        EXPECT_EQ(pcm.Frames(), 0U);
    }
}

TEST(OutgoingPcm, WhatIsDroppedAtTheEndIsReplacedByWhatComesThen) {
    const std::vector<int16_t> samples = MakeNoise(3, 1000, 1, 1000).samples;
    OutgoingPcm pcm(1);
    pcm.Append(samples.data(), 800);
    std::vector<int16_t> taken;
    EXPECT_EQ(pcm.Take(300, taken), 300U);
    pcm.DropLast(200);
    pcm.DropLast(0);
    EXPECT_EQ(pcm.Frames(), 300U);
    pcm.Append(samples.data() + 600, 400);
    while (pcm.Take(100, taken) > 0) {
    }
    EXPECT_EQ(taken, samples);
    pcm.Append(samples.data(), 10);
    pcm.DropLast(10);
    EXPECT_EQ(pcm.Take(1, taken), 0U);
}

// A day of silence at 192 kHz is only a number.
TEST(OutgoingPcm, SilenceIsOnlyCounted) {
    OutgoingPcm pcm(8);
    constexpr uint64_t kDay = 24ULL * 3600 * 192000;
    pcm.AppendSilence(kDay);
    pcm.AppendSilence(0);
    std::vector<int16_t> taken;
    EXPECT_EQ(pcm.Take(5, taken), 5U);
    EXPECT_EQ(taken, std::vector<int16_t>(40));
    EXPECT_EQ(pcm.Frames(), kDay - 5);
}

// What is on its way for long does not pile up behind the reader.
TEST(OutgoingPcm, ALongWayKeepsItsOrder) {
    const TestPcm noise = MakeNoise(4, 1000, 2, 300000);
    OutgoingPcm pcm(2);
    std::vector<int16_t> taken;
    for (size_t at = 0; at < noise.Frames(); at += 1000) {
        pcm.Append(noise.samples.data() + at * 2, 1000);
        if (pcm.Frames() > 2048) pcm.Take(pcm.Frames() - 2048, taken);
    }
    pcm.Take(2048, taken);
    EXPECT_TRUE(taken == noise.samples);
}

}  // namespace receiver
