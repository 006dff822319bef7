#include "audio/mono_resampler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "testing/audio_generator.h"

namespace receiver {
namespace {

std::vector<int16_t> Resample(const TestPcm& pcm, int piece) {
    MonoResampler resampler;
    EXPECT_TRUE(resampler.Open(static_cast<uint32_t>(pcm.rate), 22050));
    std::vector<int16_t> all;
    const int frames = static_cast<int>(pcm.Frames());
    for (int done = 0; done < frames; done += piece) {
        const int count = std::min(piece, frames - done);
        std::vector<int16_t> output(static_cast<size_t>(resampler.OutputBound(count)));
        const int made = resampler.Convert(pcm.samples.data() + done, count, output.data(),
                                           static_cast<int>(output.size()));
        EXPECT_GE(made, 0);
        all.insert(all.end(), output.begin(), output.begin() + made);
    }
    std::vector<int16_t> rest(4096);
    for (int made = 1; made > 0;) {
        made = resampler.Drain(rest.data(), static_cast<int>(rest.size()));
        EXPECT_GE(made, 0);
        all.insert(all.end(), rest.begin(), rest.begin() + std::max(made, 0));
    }
    return all;
}

}  // namespace

TEST(MonoResampler, GivesHalfAsManySamplesForHalfTheRate) {
    const auto output = Resample(MakeTone(44100, 1, 44100, 440.0), 1000);
    EXPECT_NEAR(static_cast<double>(output.size()), 22050.0, 32.0);
}

TEST(MonoResampler, KeepsAToneWhereItIs) {
    const auto output = Resample(MakeTone(48000, 1, 48000, 440.0), 4096);
    const TestPcm expected = MakeTone(22050, 1, 22050, 440.0);
    for (size_t i = 100; i < 21900; ++i) {
        ASSERT_NEAR(output[i], expected.samples[i], 40) << i;
    }
}

TEST(MonoResampler, OddPiecesGiveTheSameSamples) {
    const TestPcm pcm = MakeMusic(3, 48000, 1, 48000);
    const auto whole = Resample(pcm, 48000);
    EXPECT_NEAR(static_cast<double>(whole.size()), 22050.0, 32.0);
    EXPECT_EQ(Resample(pcm, 37), whole);
}

TEST(MonoResampler, TheSameRatePassesThroughUntouched) {
    const TestPcm pcm = MakeMusic(4, 22050, 1, 22050);
    EXPECT_EQ(Resample(pcm, 441), pcm.samples);
}

TEST(MonoResampler, RefusesARateOfZero) {
    MonoResampler resampler;
    EXPECT_FALSE(resampler.Open(0, 22050));
    EXPECT_FALSE(resampler.Open(44100, 0));
}

TEST(MonoResampler, RefusesARateBeyondWhatFfmpegCanExpress) {
    MonoResampler resampler;
    EXPECT_FALSE(resampler.Open(0x80000000u, 22050));
}

TEST(MonoResampler, AClosedOneAnswersWithErrors) {
    MonoResampler resampler;
    ASSERT_TRUE(resampler.Open(44100, 22050));
    resampler.Close();
    int16_t samples[16] = {};
    EXPECT_LT(resampler.OutputBound(16), 0);
    EXPECT_LT(resampler.Convert(samples, 16, samples, 16), 0);
    EXPECT_LT(resampler.Drain(samples, 16), 0);
}

TEST(MonoResampler, OpeningAgainStartsAfresh) {
    const TestPcm pcm = MakeMusic(5, 44100, 1, 4410);
    MonoResampler resampler;
    std::vector<int16_t> first(8192);
    std::vector<int16_t> second(8192);
    ASSERT_TRUE(resampler.Open(44100, 22050));
    first.resize(
        static_cast<size_t>(resampler.Convert(pcm.samples.data(), 4410, first.data(), 8192)));
    EXPECT_GT(first.size(), 2000u);
    ASSERT_TRUE(resampler.Open(44100, 22050));
    second.resize(
        static_cast<size_t>(resampler.Convert(pcm.samples.data(), 4410, second.data(), 8192)));
    EXPECT_EQ(first, second);
}

}  // namespace receiver
