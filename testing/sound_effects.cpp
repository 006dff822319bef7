#include "testing/sound_effects.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

namespace receiver {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

int16_t Clipped(double value) {
    return static_cast<int16_t>(std::lround(std::clamp(value, -32768.0, 32767.0)));
}

double GainOf(double db) {
    return std::pow(10.0, db / 20.0);
}

// A second-order section after R. Bristow-Johnson's formulas.
struct Section {
    double b0, b1, b2, a1, a2;
};

Section MakeSection(double hz, int rate, double q, bool highPass) {
    const double w = kTwoPi * hz / rate;
    const double alpha = std::sin(w) / (2.0 * q);
    const double cosine = std::cos(w);
    const double sign = highPass ? -1.0 : 1.0;
    const double a0 = 1.0 + alpha;
    const double edge = (1.0 - sign * cosine) / 2.0 / a0;
    return {edge, sign * 2.0 * edge, edge, -2.0 * cosine / a0, (1.0 - alpha) / a0};
}

TestPcm Filtered(const TestPcm& pcm, double hz, bool highPass) {
    // Butterworth of the eighth order.
    constexpr std::array kQ = {0.50980, 0.60134, 0.89998, 2.56292};
    TestPcm filtered = pcm;
    const auto channels = static_cast<size_t>(pcm.channels);
    for (size_t channel = 0; channel < channels; ++channel) {
        std::vector<double> signal(pcm.Frames());
        for (size_t i = 0; i < signal.size(); ++i) signal[i] = pcm.samples[i * channels + channel];
        for (const double q : kQ) {
            const Section s = MakeSection(hz, pcm.rate, q, highPass);
            double z1 = 0.0;
            double z2 = 0.0;
            for (double& sample : signal) {
                const double out = s.b0 * sample + z1;
                z1 = s.b1 * sample - s.a1 * out + z2;
                z2 = s.b2 * sample - s.a2 * out;
                sample = out;
            }
        }
        for (size_t i = 0; i < signal.size(); ++i) {
            filtered.samples[i * channels + channel] = Clipped(signal[i]);
        }
    }
    return filtered;
}

// The same in every channel.
TestPcm ToChannels(const std::vector<double>& mono, int rate, int channels) {
    TestPcm pcm{rate, channels, {}};
    pcm.samples.reserve(mono.size() * static_cast<size_t>(channels));
    for (const double value : mono) {
        pcm.samples.insert(pcm.samples.end(), static_cast<size_t>(channels),
                           Clipped(value * 32767.0));
    }
    return pcm;
}

// How loud a harmonic at this frequency is in a vowel of two formants.
double Formant(double hz, double first, double second) {
    const auto peak = [hz](double centre, double width) {
        const double distance = (hz - centre) / width;
        return 1.0 / (1.0 + distance * distance);
    };
    return peak(first, 90.0) + 0.5 * peak(second, 140.0) + 0.15 * peak(2700.0, 250.0);
}

struct Note {
    size_t begin;
    double hz;
    double loudness;
    double decaySeconds;
    int harmonics;
};

void Play(std::vector<double>& mono, const Note& note, int rate, TestRandom& random) {
    const auto length = static_cast<size_t>(note.decaySeconds * 4.0 * rate);
    const size_t end = std::min(mono.size(), note.begin + length);
    for (int k = 1; k <= note.harmonics && note.hz * k < rate * 0.45; ++k) {
        const double phase = random.Between(0.0, kTwoPi);
        const double step = kTwoPi * note.hz * k / rate;
        const double loudness = note.loudness * random.Between(0.5, 1.0) / k;
        for (size_t i = note.begin; i < end; ++i) {
            const double seconds = static_cast<double>(i - note.begin) / rate;
            const double envelope = std::min(1.0, seconds / 0.004) *
                                    std::exp(-seconds / note.decaySeconds * std::sqrt(k));
            mono[i] +=
                loudness * envelope * std::sin(phase + step * static_cast<double>(i - note.begin));
        }
    }
}

void Drum(std::vector<double>& mono, size_t begin, int rate, double loudness, TestRandom& random) {
    const size_t end = std::min(mono.size(), begin + static_cast<size_t>(rate) / 4);
    for (size_t i = begin; i < end; ++i) {
        const double seconds = static_cast<double>(i - begin) / rate;
        mono[i] += loudness * random.Between(-1.0, 1.0) * std::exp(-seconds / 0.05);
    }
}

}  // namespace

TestPcm MixedAt(const TestPcm& under, const TestPcm& over, size_t at, double overDb) {
    TestPcm mixed = under;
    const double gain = GainOf(overDb);
    const size_t first = at * static_cast<size_t>(under.channels);
    for (size_t i = 0; i < over.samples.size() && first + i < mixed.samples.size(); ++i) {
        mixed.samples[first + i] = Clipped(mixed.samples[first + i] + gain * over.samples[i]);
    }
    return mixed;
}

TestPcm Amplified(const TestPcm& pcm, double db) {
    TestPcm louder = pcm;
    const double gain = GainOf(db);
    for (int16_t& sample : louder.samples) sample = Clipped(sample * gain);
    return louder;
}

TestPcm AtSpeed(const TestPcm& pcm, double factor) {
    TestPcm changed{pcm.rate, pcm.channels, {}};
    const auto channels = static_cast<size_t>(pcm.channels);
    const auto frames = static_cast<size_t>(static_cast<double>(pcm.Frames()) / factor);
    for (size_t frame = 0; frame < frames; ++frame) {
        const double at = static_cast<double>(frame) * factor;
        const auto left = static_cast<size_t>(at);
        if (left + 1 >= pcm.Frames()) break;
        const double part = at - static_cast<double>(left);
        for (size_t channel = 0; channel < channels; ++channel) {
            changed.samples.push_back(
                Clipped((1.0 - part) * pcm.samples[left * channels + channel] +
                        part * pcm.samples[(left + 1) * channels + channel]));
        }
    }
    return changed;
}

TestPcm LowPassed(const TestPcm& pcm, double hz) {
    return Filtered(pcm, hz, false);
}

TestPcm HighPassed(const TestPcm& pcm, double hz) {
    return Filtered(pcm, hz, true);
}

TestPcm MakeVoice(uint64_t seed, int rate, int channels, size_t frames) {
    TestRandom random(seed);
    std::vector<double> mono(frames);
    double pitch = random.Between(100.0, 190.0);
    double phase = 0.0;
    for (size_t frame = 0; frame < frames;) {
        const auto syllable = static_cast<size_t>(random.Between(0.09, 0.22) * rate);
        const bool isPause = random.Below(7) == 0;
        const bool isHiss = random.Below(5) == 0;
        const double target = std::clamp(pitch * random.Between(0.85, 1.18), 85.0, 230.0);
        const double first = random.Between(280.0, 800.0);
        const double second = random.Between(850.0, 2300.0);
        const double step = (target - pitch) / static_cast<double>(syllable);
        std::vector<double> harmonics;
        for (int k = 1; k * pitch < 4000.0; ++k) {
            harmonics.push_back(Formant(k * pitch, first, second));
        }
        for (size_t i = 0; i < syllable && frame < frames; ++i, ++frame) {
            pitch += step;
            phase = std::fmod(phase + pitch / rate, 1.0);
            if (isPause) continue;
            const double envelope =
                std::sin(std::numbers::pi * static_cast<double>(i) / static_cast<double>(syllable));
            double value = isHiss ? 0.12 * random.Between(-1.0, 1.0) : 0.0;
            for (size_t k = 0; !isHiss && k < harmonics.size(); ++k) {
                value += 0.2 * harmonics[k] * std::sin(kTwoPi * phase * static_cast<double>(k + 1));
            }
            mono[frame] = envelope * value;
        }
    }
    return ToChannels(mono, rate, channels);
}

TestPcm MakeTune(uint64_t seed, int rate, int channels, size_t frames) {
    constexpr std::array kScale = {0, 2, 4, 5, 7, 9, 11, 12, 14, 16};
    TestRandom random(seed);
    std::vector<double> mono(frames);
    const double root = 110.0 * std::pow(2.0, random.Between(0.0, 1.0));
    const auto beat = static_cast<size_t>(random.Between(0.11, 0.19) * rate);
    for (size_t begin = 0, count = 0; begin < frames; begin += beat, ++count) {
        const auto pitch = [&](double octave) {
            const int step = kScale[random.Below(kScale.size())];
            return root * octave * std::pow(2.0, step / 12.0);
        };
        Play(mono, {begin, pitch(2.0), 0.16, 0.12, 10}, rate, random);
        if (random.Below(2) == 0) Play(mono, {begin, pitch(4.0), 0.1, 0.2, 6}, rate, random);
        if (count % 4 == 0) {
            Play(mono, {begin, pitch(0.5), 0.2, 0.35, 8}, rate, random);
            Play(mono, {begin, pitch(1.0), 0.1, 0.6, 8}, rate, random);
        }
        if (count % 2 == 0) Drum(mono, begin, rate, 0.15, random);
    }
    return ToChannels(mono, rate, channels);
}

}  // namespace receiver
