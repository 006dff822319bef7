// Sound that is kept at few samples of a byte.
#include "receiver_scan/discover/thin_audio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "detect/audio_fingerprinter.h"

namespace receiver {

TEST(ThinAudio, GivesBackWhatWasPutInAtEveryLevel) {
    const std::vector<int16_t> samples = {0, 1, -1, 30, -300, 3000, -30000, 32767, -32768};
    ThinAudio audio;
    audio.Append(samples);
    const std::vector<float> back = audio.Between(0, samples.size());
    for (size_t i = 0; i < samples.size(); ++i) {
        const double wanted = samples[i] / 32768.0;
        EXPECT_NEAR(back[i], wanted, 0.01 * std::sqrt(std::abs(wanted)) + 2e-5) << samples[i];
    }
}

TEST(ThinAudio, OutsideIsSilence) {
    ThinAudio audio;
    audio.Append(std::vector<int16_t>{32767, 32767});
    EXPECT_EQ(audio.Between(-2, 6), (std::vector<float>{0, 0, 1, 1, 0, 0}));
    EXPECT_EQ(audio.Between(-9, 3), (std::vector<float>{0, 0, 0}));
    EXPECT_EQ(audio.Between(7, 2), (std::vector<float>{0, 0}));
    EXPECT_EQ(ThinAudio().Between(0, 1), (std::vector<float>{0}));
}

TEST(AudioThinner, KeepsTheTimeAndLosesNothingAtTheEnd) {
    // A second of silence and one of a tone, in odd pieces.
    std::vector<int16_t> samples(2 * size_t{kAnalysisRate});
    for (size_t i = kAnalysisRate; i < samples.size(); ++i) {
        const double phase =
            2.0 * std::numbers::pi * 500.0 * static_cast<double>(i) / kAnalysisRate;
        samples[i] = static_cast<int16_t>(16000.0 * std::sin(phase));
    }
    AudioThinner thinner;
    for (size_t at = 0; at < samples.size(); at += 777) {
        const size_t count = std::min<size_t>(777, samples.size() - at);
        thinner.Append({samples.data() + at, count});
    }
    const std::vector<float> thin = thinner.Finish().Between(0, 2 * kThinRate + 100);
    for (int i = 0; i < kThinRate - 50; ++i) ASSERT_NEAR(thin[static_cast<size_t>(i)], 0.0, 0.01);
    for (int i = kThinRate + 50; i < 2 * kThinRate - 50; ++i) {
        const double phase = 2.0 * std::numbers::pi * 500.0 * i / kThinRate;
        ASSERT_NEAR(thin[static_cast<size_t>(i)], 0.488 * std::sin(phase), 0.02) << i;
    }
    EXPECT_EQ(thin.back(), 0.0F);
}

}  // namespace receiver
