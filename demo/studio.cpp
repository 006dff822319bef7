#include "studio.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

namespace receiver {
namespace {

constexpr double kPeak = 24000.0;

TestPcm Music(uint64_t seed, uint32_t ms) {
    return MakeMusic(seed, kStudioRate, kStudioChannels, FramesOf(kStudioRate, ms));
}

// A resonance of the mouth, which glides to where it is sent.
class Formant {
public:
    double Next(double source, double targetHz) {
        hz_ += (targetHz - hz_) * 0.0005;
        const double radius = std::exp(-std::numbers::pi * 90.0 / kStudioRate);
        const double turn = std::cos(2.0 * std::numbers::pi * hz_ / kStudioRate);
        const double next = source + 2.0 * radius * turn * last_ - radius * radius * beforeLast_;
        beforeLast_ = last_;
        last_ = next;
        return next;
    }

private:
    double hz_ = 500.0;
    double last_ = 0.0;
    double beforeLast_ = 0.0;
};

// As loud as the peak allows, in every channel.
TestPcm ToPcm(const std::vector<double>& mono) {
    double loudest = 1e-9;
    for (const double value : mono) loudest = std::max(loudest, std::abs(value));
    TestPcm pcm = MakeSilence(kStudioRate, kStudioChannels, mono.size());
    for (size_t i = 0; i < pcm.samples.size(); ++i) {
        pcm.samples[i] =
            static_cast<int16_t>(std::lrint(mono[i / kStudioChannels] * kPeak / loudest));
    }
    return pcm;
}

// A buzz at a wandering pitch through two resonances that move from vowel to vowel, with pauses
// between the "words".
TestPcm Speech(uint64_t seed, uint32_t ms) {
    constexpr std::array<std::array<double, 2>, 5> kVowels = {
        {{730, 1090}, {270, 2290}, {300, 870}, {530, 1840}, {570, 840}}};
    const size_t syllable = FramesOf(kStudioRate, 160);
    TestRandom random(seed);
    std::array<Formant, 2> formants;
    std::array<double, 2> vowel = kVowels[0];
    double pitch = 110.0;
    double phase = 0.0;
    double loudness = 1.0;
    std::vector<double> mono(FramesOf(kStudioRate, ms));
    for (size_t i = 0; i < mono.size(); ++i) {
        if (i % syllable == 0) {
            vowel = kVowels[random.Below(kVowels.size())];
            pitch = random.Between(95.0, 140.0);
            loudness = random.Below(6) == 0 ? 0.0 : 1.0;
        }
        phase += pitch / kStudioRate;
        const bool pulse = phase >= 1.0;
        if (pulse) phase -= 1.0;
        const double source = (pulse ? 1.0 : 0.0) + random.Between(-0.02, 0.02);
        for (size_t f = 0; f < formants.size(); ++f) {
            mono[i] += loudness * formants[f].Next(source, vowel[f]);
        }
    }
    return ToPcm(mono);
}

}  // namespace

Broadcast MakeStationsDay() {
    return MakeBroadcast(Music(11, 6000), Music(21, 3000),
                         Concatenate({Speech(12, 8000), Music(13, 8000)}), Music(22, 2500),
                         Music(14, 5000));
}

}  // namespace receiver
