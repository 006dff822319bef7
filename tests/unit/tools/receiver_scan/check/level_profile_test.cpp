#include "receiver_scan/check/level_profile.h"

#include <gtest/gtest.h>

#include <cmath>

#include "testing/audio_generator.h"

namespace receiver {
namespace {

LevelProfile ProfileOf(const TestPcm& pcm, size_t piece = 1000) {
    LevelMeter meter(static_cast<uint32_t>(pcm.rate), static_cast<unsigned>(pcm.channels));
    const auto channels = static_cast<size_t>(pcm.channels);
    for (size_t at = 0; at < pcm.Frames(); at += piece) {
        meter.Add(&pcm.samples[at * channels], std::min(piece, pcm.Frames() - at));
    }
    return meter.Finish();
}

TEST(LevelProfile, ASineOfHalfTheFullScaleIsNineDecibelsDown) {
    EXPECT_NEAR(LoudLevelDb(ProfileOf(MakeTone(44100, 2, 44100, 1000.0))), -9.03, 0.05);
}

TEST(LevelProfile, TheSizeOfThePiecesDoesNotMatter) {
    const TestPcm music = MakeMusic(1, 44100, 2, 30000);
    EXPECT_EQ(ProfileOf(music, 1).monoPower, ProfileOf(music, 30000).monoPower);
}

TEST(LevelProfile, StretchesOfSilenceAreFoundWithTheirPlaces) {
    const LevelProfile profile =
        ProfileOf(Concatenate({MakeSilence(44100, 1, 22050), MakeTone(44100, 1, 44100, 500.0),
                               MakeSilence(44100, 1, 8820)}));
    const std::vector<Stretch> stretches = SilentStretches(profile, 0.1);
    ASSERT_EQ(stretches.size(), 2u);
    EXPECT_NEAR(stretches[0].start, 0.0, 1e-9);
    EXPECT_NEAR(stretches[0].seconds, 0.5, 0.011);
    EXPECT_NEAR(stretches[1].start, 1.5, 0.011);
    EXPECT_EQ(SilentStretches(profile, 0.3).size(), 1u);
}

TEST(LevelProfile, APeakIsNoClipping) {
    TestPcm pcm = MakeSilence(44100, 1, 44100);
    for (size_t i = 0; i < pcm.samples.size(); i += 10) pcm.samples[i] = 32767;
    EXPECT_EQ(ClippedShare(ProfileOf(pcm)), 0.0);
}

TEST(LevelProfile, RunsAtFullScaleAreClipping) {
    TestPcm pcm = MakeSilence(44100, 1, 44100);
    for (size_t i = 0; i < 441; ++i) pcm.samples[i] = -32768;
    EXPECT_NEAR(ClippedShare(ProfileOf(pcm)), 0.01, 1e-9);
}

TEST(LevelProfile, EqualChannelsLoseNothingInTheMix) {
    EXPECT_NEAR(MonoLossDb(ProfileOf(MakeTone(44100, 2, 44100, 1000.0))), 0.0, 0.01);
}

TEST(LevelProfile, OfNothingTheLevelIsTheLowest) {
    EXPECT_EQ(LoudLevelDb(LevelProfile()), -200.0);
    EXPECT_EQ(LevelDb(0.0), -200.0);
}

}  // namespace
}  // namespace receiver
