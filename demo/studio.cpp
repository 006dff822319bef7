#include "studio.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace receiver {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

// A small generator of our own, so that the samples do not depend on a library.
class Random {
public:
    explicit Random(uint32_t seed) : state_(seed * 2654435761U + 1) {}
    double Signed() { return static_cast<double>(Next()) / 2147483648.0 - 1.0; }
    uint32_t Below(uint32_t limit) { return Next() % limit; }

private:
    uint32_t Next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return state_;
    }
    uint32_t state_;
};

class Mixer {
public:
    explicit Mixer(double seconds)
        : left_(static_cast<size_t>(seconds * kStudioRate)), right_(left_.size()) {}

    size_t Frames() const { return left_.size(); }
    void Add(size_t frame, double value, double pan) {
        if (frame >= left_.size()) return;
        left_[frame] += value * (1.0 - pan);
        right_[frame] += value * pan;
    }

    // A plucked note of many harmonics, so that every band has something to say.
    void AddNote(double start, double seconds, double hz, double level, double pan) {
        const auto first = static_cast<size_t>(start * kStudioRate);
        const auto count = static_cast<size_t>(seconds * kStudioRate);
        for (size_t i = 0; i < count; ++i) {
            const double t = static_cast<double>(i) / kStudioRate;
            const double envelope = std::min(1.0, t * 200.0) * std::exp(-t * 4.0 / seconds);
            double value = 0.0;
            for (int harmonic = 1; harmonic <= 8 && hz * harmonic < 8000.0; ++harmonic) {
                value += std::sin(kTwoPi * hz * harmonic * t) / harmonic;
            }
            Add(first + i, value * envelope * level, pan);
        }
    }

    void AddDrum(double start, double level, Random& random) {
        const auto first = static_cast<size_t>(start * kStudioRate);
        for (size_t i = 0; i < kStudioRate / 12; ++i) {
            const double t = static_cast<double>(i) / kStudioRate;
            Add(first + i, random.Signed() * std::exp(-t * 60.0) * level, 0.5);
        }
    }

    StereoPcm Finish() const {
        double peak = 1e-9;
        for (size_t i = 0; i < left_.size(); ++i) {
            peak = std::max({peak, std::abs(left_[i]), std::abs(right_[i])});
        }
        const double gain = 24000.0 / peak;
        StereoPcm pcm;
        pcm.reserve(left_.size() * 2);
        for (size_t i = 0; i < left_.size(); ++i) {
            pcm.push_back(static_cast<int16_t>(std::lrint(left_[i] * gain)));
            pcm.push_back(static_cast<int16_t>(std::lrint(right_[i] * gain)));
        }
        return pcm;
    }

private:
    std::vector<double> left_;
    std::vector<double> right_;
};

double NoteHz(int semitones) {
    return 220.0 * std::pow(2.0, semitones / 12.0);
}

void Append(StereoPcm& to, const StereoPcm& from) {
    to.insert(to.end(), from.begin(), from.end());
}

}  // namespace

StereoPcm MakeMusic(double seconds, uint32_t seed) {
    constexpr std::array kScale = {0, 3, 5, 7, 10, 12, 15, 17};
    constexpr double kBeat = 0.2;
    Random random(seed);
    Mixer mixer(seconds);
    for (double t = 0.0; t < seconds; t += kBeat) {
        const int root = kScale[random.Below(4)];
        mixer.AddNote(t, 0.6, NoteHz(root - 12), 0.6, 0.5);
        mixer.AddNote(t, 0.35, NoteHz(kScale[random.Below(8)]), 0.5, 0.3);
        mixer.AddNote(t + kBeat / 2, 0.3, NoteHz(kScale[random.Below(8)] + 12), 0.35, 0.7);
        mixer.AddDrum(t, 0.8, random);
        mixer.AddDrum(t + kBeat / 2, 0.4, random);
    }
    return mixer.Finish();
}

StereoPcm MakeJingle(double seconds, uint32_t seed) {
    constexpr std::array kChord = {0, 4, 7, 11, 12, 16, 19, 24};
    constexpr double kStep = 0.125;
    Random random(seed);
    Mixer mixer(seconds);
    for (double t = 0.0; t < seconds; t += kStep) {
        const int shift = static_cast<int>(random.Below(5)) * 2;
        for (const double pan : {0.2, 0.5, 0.8}) {
            mixer.AddNote(t, 0.5, NoteHz(kChord[random.Below(8)] + shift), 0.5, pan);
        }
        mixer.AddDrum(t, 0.7, random);
    }
    return mixer.Finish();
}

// A buzz at a wandering pitch through two resonances that move from vowel to
// vowel, with pauses between the "words".
StereoPcm MakeSpeech(double seconds, uint32_t seed) {
    constexpr std::array<std::array<double, 2>, 5> kVowels = {
        {{730, 1090}, {270, 2290}, {300, 870}, {530, 1840}, {570, 840}}};
    constexpr double kSyllable = 0.16;
    Random random(seed);
    Mixer mixer(seconds);
    std::array<std::array<double, 2>, 2> memory{};
    std::array<double, 2> formant = kVowels[0];
    std::array<double, 2> target = formant;
    double pitch = 110.0;
    double phase = 0.0;
    double loudness = 1.0;
    const auto syllable = static_cast<size_t>(kSyllable * kStudioRate);
    for (size_t i = 0; i < mixer.Frames(); ++i) {
        if (i % syllable == 0) {
            target = kVowels[random.Below(kVowels.size())];
            pitch = 95.0 + random.Below(45);
            loudness = random.Below(6) == 0 ? 0.0 : 1.0;
        }
        phase += pitch / kStudioRate;
        const bool pulse = phase >= 1.0;
        if (pulse) phase -= 1.0;
        const double source = (pulse ? 1.0 : 0.0) + random.Signed() * 0.02;
        double value = 0.0;
        for (size_t f = 0; f < formant.size(); ++f) {
            formant[f] += (target[f] - formant[f]) * 0.0005;
            const double radius = std::exp(-std::numbers::pi * 90.0 / kStudioRate);
            const double next =
                source + 2.0 * radius * std::cos(kTwoPi * formant[f] / kStudioRate) * memory[f][0] -
                radius * radius * memory[f][1];
            memory[f][1] = memory[f][0];
            memory[f][0] = next;
            value += next;
        }
        mixer.Add(i, value * loudness, 0.5);
    }
    return mixer.Finish();
}

Broadcast MakeBroadcast(const StereoPcm& startJingle, const StereoPcm& endJingle,
                        double programmeSeconds) {
    const auto frames = [](const StereoPcm& pcm) { return pcm.size() / kStudioChannels; };
    Broadcast broadcast;
    broadcast.pcm = MakeMusic(6.0, 11);
    broadcast.startJingle = frames(broadcast.pcm);
    Append(broadcast.pcm, startJingle);
    broadcast.programme = frames(broadcast.pcm);
    Append(broadcast.pcm, MakeSpeech(programmeSeconds / 2, 12));
    Append(broadcast.pcm, MakeMusic(programmeSeconds / 2, 13));
    broadcast.endJingle = frames(broadcast.pcm);
    Append(broadcast.pcm, endJingle);
    broadcast.afterEndJingle = frames(broadcast.pcm);
    Append(broadcast.pcm, MakeMusic(5.0, 14));
    return broadcast;
}

}  // namespace receiver
