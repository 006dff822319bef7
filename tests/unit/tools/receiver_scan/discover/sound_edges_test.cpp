// Edges of what is heard again, found by sound.
#include "receiver_scan/discover/sound_edges.h"

#include <gtest/gtest.h>

#include <cmath>

#include "testing/sound_effects.h"

namespace receiver {
namespace {

constexpr size_t kBefore = 2 * kThinRate;
constexpr size_t kJingle = 3 * kThinRate;
constexpr double kStart = 2.0;
constexpr double kSeconds = 3.0;
constexpr double kTolerance = 0.02;

TestPcm Tune(uint64_t seed, size_t frames) {
    return MakeTune(seed, kThinRate, 1, frames);
}

// On air between two tunes that no other time has beside it.
ThinAudio OnAir(const TestPcm& jingle, uint64_t seed) {
    ThinAudio audio;
    audio.Append(
        Concatenate({Tune(2 * seed, kBefore), jingle, Tune(2 * seed + 1, kBefore)}).samples);
    return audio;
}

TestPcm FadingOut(TestPcm pcm, size_t fade, double toDb) {
    const size_t begin = pcm.samples.size() - fade;
    for (size_t i = 0; i < fade; ++i) {
        const double db = toDb * static_cast<double>(i) / static_cast<double>(fade);
        pcm.samples[begin + i] =
            static_cast<int16_t>(pcm.samples[begin + i] * std::pow(10.0, db / 20.0));
    }
    return pcm;
}

void ExpectTheJingle(const std::optional<SoundEdges>& edges, size_t playings) {
    ASSERT_TRUE(edges);
    EXPECT_NEAR(edges->seconds, kSeconds, kTolerance);
    ASSERT_EQ(edges->starts.size(), playings);
    for (const double start : edges->starts) EXPECT_NEAR(start, kStart, kTolerance);
}

}  // namespace

TEST(SoundEdges, AreFoundWhereWordsWereWrongByMoreThanATenthOfASecond) {
    const TestPcm jingle = Tune(1, kJingle);
    const ThinAudio a = OnAir(jingle, 10);
    const ThinAudio b = OnAir(Amplified(jingle, -9), 20);
    ExpectTheJingle(FindSoundEdges({{&a, kStart + 0.13}, {&b, kStart + 0.12}}, 2.6), 2);
    ExpectTheJingle(FindSoundEdges({{&a, kStart - 0.13}, {&b, kStart - 0.12}}, 3.3), 2);
}

TEST(SoundEdges, AnEndThatDiesAwayBeforeSomethingLoudIsHeard) {
    const TestPcm jingle = FadingOut(Tune(1, kJingle), kThinRate / 2, -25.0);
    const ThinAudio a = OnAir(jingle, 10);
    const ThinAudio b = OnAir(jingle, 20);
    ExpectTheJingle(FindSoundEdges({{&a, kStart}, {&b, kStart}}, 2.8), 2);
}

TEST(SoundEdges, ALoudVoiceOverOnePlayingsEndMakesItNoShorter) {
    const TestPcm jingle = Tune(1, kJingle);
    const TestPcm voice = MakeVoice(3, kThinRate, 1, kJingle / 2);
    const ThinAudio a = OnAir(jingle, 10);
    const ThinAudio b = OnAir(jingle, 20);
    const ThinAudio c = OnAir(MixedAt(Amplified(jingle, -10), voice, kJingle / 2, 6), 30);
    ExpectTheJingle(FindSoundEdges({{&a, kStart}, {&b, kStart}, {&c, kStart}}, 3.0), 3);
}

TEST(SoundEdges, WhatTwoOfThreeHaveMoreOrLessInCommonBeforeItIsNoPartOfIt) {
    const TestPcm jingle = Tune(1, kJingle);
    const TestPcm common = Tune(7, kThinRate / 5);
    const auto likeCommon = [&](uint64_t seed) {
        return MixedAt(common, Tune(seed, common.samples.size()), 0, -4.8);
    };
    const auto broadcast = [&](const TestPcm& before, uint64_t seed) {
        ThinAudio audio;
        audio.Append(Concatenate({Tune(seed, kBefore - common.samples.size()), before, jingle,
                                  Tune(seed + 1, kBefore)})
                         .samples);
        return audio;
    };
    const ThinAudio a = broadcast(likeCommon(8), 10);
    const ThinAudio b = broadcast(likeCommon(9), 20);
    const ThinAudio c = OnAir(jingle, 30);
    ExpectTheJingle(FindSoundEdges({{&a, kStart}, {&b, kStart}, {&c, kStart}}, 3.0), 3);
}

TEST(SoundEdges, PlayingsAreLaidOverEachOtherBetweenSamples) {
    // A quarter of a sample: as far as two that were sampled at other moments are apart.
    const TestPcm fine = LowPassed(MakeTune(1, 4 * kThinRate, 1, 4 * kJingle + 1), 2000);
    TestPcm early{kThinRate, 1, {}};
    TestPcm late{kThinRate, 1, {}};
    for (size_t i = 0; i < kJingle; ++i) {
        early.samples.push_back(fine.samples[4 * i]);
        late.samples.push_back(fine.samples[4 * i + 1]);
    }
    const ThinAudio a = OnAir(early, 10);
    const ThinAudio b = OnAir(late, 20);
    const auto edges = FindSoundEdges({{&a, kStart}, {&b, kStart}}, 3.0);
    ExpectTheJingle(edges, 2);
    EXPECT_NEAR((edges->starts[1] - edges->starts[0]) * kThinRate, -0.25, 0.1);
}

TEST(SoundEdges, WhatBeginsWithItsSourceBeginsAtNought) {
    const TestPcm jingle = Tune(1, kJingle);
    ThinAudio a;
    a.Append(Concatenate({jingle, Tune(4, kBefore)}).samples);
    ThinAudio b;
    b.Append(Concatenate({Tune(5, kBefore), jingle}).samples);
    const auto edges = FindSoundEdges({{&a, 0.1}, {&b, kStart + 0.1}}, 2.8);
    ASSERT_TRUE(edges);
    EXPECT_NEAR(edges->starts[0], 0.0, kTolerance);
    EXPECT_NEAR(edges->starts[1], kStart, kTolerance);
    EXPECT_NEAR(edges->seconds, kSeconds, kTolerance);
}

TEST(SoundEdges, NothingIsToldOfSoundThatIsNotTheSame) {
    const ThinAudio a = OnAir(Tune(1, kJingle), 10);
    const ThinAudio b = OnAir(Tune(2, kJingle), 20);
    EXPECT_FALSE(FindSoundEdges({{&a, kStart}, {&b, kStart}}, 3.0));
    const ThinAudio faster = OnAir(AtSpeed(Tune(1, kJingle), 1.02), 20);
    EXPECT_FALSE(FindSoundEdges({{&a, kStart}, {&faster, kStart}}, 2.9));
}

TEST(SoundEdges, OneThatIsNotTheSameKeepsItsPlaceBesideTheOthers) {
    const TestPcm jingle = Tune(1, kJingle);
    const ThinAudio a = OnAir(jingle, 10);
    const ThinAudio b = OnAir(jingle, 20);
    const ThinAudio other = OnAir(Tune(2, kJingle), 30);
    const auto edges = FindSoundEdges({{&a, 2.1}, {&other, 2.1}, {&b, 2.1}}, 2.8);
    ExpectTheJingle(edges, 3);
}

}  // namespace receiver
