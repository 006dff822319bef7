#include "testing/station_sounds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "testing/audio_generator.h"
#include "testing/station_day.h"

namespace receiver {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kEdgeSeconds = 0.01;

size_t FramesIn(double seconds) {
    return static_cast<size_t>(std::llrint(seconds * kStationRate));
}

double Decibels(double db) {
    return std::pow(10.0, db / 20.0);
}

// A resonance: what a formant does to a pulse.
class Resonator final {
public:
    void Tune(double hz, double bandwidth) {
        const double radius = std::exp(-std::numbers::pi * bandwidth / kStationRate);
        first_ = 2.0 * radius * std::cos(kTwoPi * hz / kStationRate);
        second_ = -radius * radius;
        gain_ = 1.0 - first_ - second_;
    }
    double Next(double input) {
        const double output = gain_ * input + first_ * last_ + second_ * before_;
        before_ = last_;
        last_ = output;
        return output;
    }

private:
    double first_ = 0.0, second_ = 0.0, gain_ = 1.0, last_ = 0.0, before_ = 0.0;
};

// Adds a note with harmonics that decays.
void AddNote(StationSound& to, double start, double seconds, double hz, double amplitude,
             double decay, int harmonics, TestRandom& random) {
    const size_t begin = FramesIn(start);
    const size_t end = std::min(to.size(), begin + FramesIn(seconds));
    for (int harmonic = 1; harmonic <= harmonics; ++harmonic) {
        const double step = kTwoPi * hz * harmonic / kStationRate;
        const double stepCos = std::cos(step);
        const double stepSin = std::sin(step);
        const double phase = random.Between(0.0, kTwoPi);
        double c = std::cos(phase);
        double s = std::sin(phase);
        const double fall = std::exp(-decay * (1.0 + 0.3 * harmonic) / kStationRate);
        double level = amplitude * random.Between(0.5, 1.0) / harmonic;
        for (size_t i = begin; i < end; ++i) {
            const double attack = std::min(1.0, static_cast<double>(i - begin) / 300.0);
            to[i] += static_cast<float>(s * level * attack);
            const double next = c * stepCos - s * stepSin;
            s = s * stepCos + c * stepSin;
            c = next;
            level *= fall;
        }
    }
}

void AddDrum(StationSound& to, double start, double amplitude, double hz, double bandwidth,
             double decay, TestRandom& random) {
    const size_t begin = FramesIn(start);
    const size_t end = std::min(to.size(), begin + FramesIn(0.2));
    Resonator body;
    body.Tune(hz, bandwidth);
    double level = amplitude;
    const double fall = std::exp(-decay / kStationRate);
    for (size_t i = begin; i < end; ++i, level *= fall) {
        to[i] += static_cast<float>(level * 3.0 * body.Next(random.Between(-1.0, 1.0)));
    }
}

double Pitch(int root, int degree) {
    static constexpr std::array<int, 7> kScale = {0, 2, 4, 5, 7, 9, 11};
    const int octave = degree / 7;
    return 110.0 * std::pow(2.0, (root + kScale[static_cast<size_t>(degree % 7)]) / 12.0 + octave);
}

void Normalise(StationSound& sound, double level) {
    const double power = PowerOf(sound);
    if (power > 0.0) Scale(sound, level / std::sqrt(power));
}

void SoftenEdges(StationSound& sound) {
    const size_t edge = std::min(FramesIn(kEdgeSeconds), sound.size() / 2);
    for (size_t i = 0; i < edge; ++i) {
        const auto gain = static_cast<float>(i) / static_cast<float>(edge);
        sound[i] *= gain;
        sound[sound.size() - 1 - i] *= gain;
    }
}

}  // namespace

double PowerOf(const StationSound& sound) {
    double sum = 0.0;
    for (const float sample : sound) sum += static_cast<double>(sample) * sample;
    return sound.empty() ? 0.0 : sum / static_cast<double>(sound.size());
}

void Scale(StationSound& sound, double factor) {
    for (float& sample : sound) sample *= static_cast<float>(factor);
}

StationSound MakeSpeech(uint64_t seed, double seconds) {
    TestRandom random(seed);
    StationSound sound(FramesIn(seconds));
    std::array<Resonator, 4> formants;
    const double speaker = random.Between(95.0, 210.0);
    double phase = 0.0;
    size_t at = 0;
    while (at < sound.size()) {
        // A syllable, and now and then the pause of a word or a sentence.
        const double pause =
            random.Below(4) == 0 ? random.Between(0.05, random.Below(5) == 0 ? 0.7 : 0.2) : 0.0;
        at += FramesIn(pause);
        const bool voiced = random.Below(5) != 0;
        const size_t length = FramesIn(random.Between(0.06, 0.2));
        const double hz = speaker * random.Between(0.8, 1.3);
        const double glide = random.Between(-0.15, 0.15);
        const double loudness = random.Between(0.4, 1.0);
        formants[0].Tune(random.Between(280.0, 850.0), 90.0);
        formants[1].Tune(random.Between(850.0, 2300.0), 120.0);
        formants[2].Tune(random.Between(2300.0, 3100.0), 180.0);
        formants[3].Tune(random.Between(3300.0, 6500.0), voiced ? 400.0 : 1500.0);
        for (size_t i = 0; i < length && at < sound.size(); ++i, ++at) {
            const double part = static_cast<double>(i) / static_cast<double>(length);
            double source = random.Between(-0.05, 0.05);
            if (voiced) {
                phase += hz * (1.0 + glide * part) / kStationRate;
                if (phase >= 1.0) {
                    phase -= 1.0;
                    source += 12.0;
                }
            } else {
                source = random.Between(-1.5, 1.5);
            }
            double out = 0.0;
            if (voiced) {
                out = formants[0].Next(source) + 0.6 * formants[1].Next(source) +
                      0.35 * formants[2].Next(source);
            }
            out += (voiced ? 0.1 : 1.0) * formants[3].Next(source);
            sound[at] = static_cast<float>(out * loudness * std::sin(std::numbers::pi * part));
        }
    }
    Normalise(sound, 0.1);
    return sound;
}

StationSound MakeSong(uint64_t seed, double seconds) {
    TestRandom random(seed);
    StationSound sound(FramesIn(seconds));
    const double beat = 60.0 / random.Between(78.0, 142.0);
    const int root = static_cast<int>(random.Below(12));
    std::array<int, 4> chords;
    for (int& chord : chords) chord = static_cast<int>(random.Below(6));
    const int harmonics = 3 + static_cast<int>(random.Below(3));
    for (int bar = 0; bar * 4 * beat < seconds; ++bar) {
        const double start = bar * 4 * beat;
        const int chord = chords[static_cast<size_t>(bar % 4)];
        for (int note = 0; note < 3; ++note) {
            AddNote(sound, start + random.Between(0.0, 0.02), 4 * beat,
                    Pitch(root, chord + 2 * note + 7) * random.Between(0.997, 1.003),
                    random.Between(0.2, 0.4), 0.4, harmonics, random);
        }
        for (int quarter = 0; quarter < 4; ++quarter) {
            const double at = start + quarter * beat + random.Between(0.0, 0.012);
            AddNote(sound, at, beat, Pitch(root, chord), random.Between(0.5, 0.8), 3.0, 4, random);
            AddDrum(sound, at, quarter % 2 == 0 ? 0.7 : 0.4, quarter % 2 == 0 ? 90.0 : 1800.0,
                    quarter % 2 == 0 ? 60.0 : 2500.0, 30.0, random);
        }
        for (double at = start; at < start + 4 * beat - 0.01;) {
            const double length = beat * (random.Below(3) == 0 ? 1.0 : 0.5);
            if (random.Below(6) != 0) {
                AddNote(sound, at + random.Between(0.0, 0.015), length,
                        Pitch(root, 14 + static_cast<int>(random.Below(9))),
                        random.Between(0.3, 0.9), 2.5, 5, random);
            }
            at += length;
        }
    }
    Normalise(sound, 0.12);
    SoftenEdges(sound);
    return sound;
}

StationSound MakeJingle(uint64_t seed, double seconds) {
    TestRandom random(seed);
    StationSound sound(FramesIn(seconds));
    const int root = static_cast<int>(random.Below(12));
    const double pace = random.Between(0.09, 0.22);
    for (double at = 0.0; at < seconds;) {
        const double length = pace * static_cast<double>(1 + random.Below(3));
        const int degree = static_cast<int>(random.Below(10));
        const int voices = 1 + static_cast<int>(random.Below(4));
        for (int voice = 0; voice < voices; ++voice) {
            AddNote(sound, at, length * random.Between(1.0, 2.0),
                    Pitch(root, degree + 7 + 2 * voice), random.Between(0.4, 1.0),
                    random.Between(1.0, 6.0), 6, random);
        }
        if (random.Below(3) == 0) {
            AddDrum(sound, at, random.Between(0.3, 1.0), random.Between(200.0, 2800.0),
                    random.Between(100.0, 1500.0), 15.0, random);
        }
        at += length;
    }
    // Many have a word in them: the station's name.
    if (random.Below(2) == 0) {
        const StationSound word = MakeSpeech(random.Next(), std::min(seconds, 1.2));
        const size_t offset = (sound.size() - word.size()) / 2;
        Normalise(sound, 0.1);
        for (size_t i = 0; i < word.size(); ++i) sound[offset + i] += 1.2f * word[i];
    }
    Normalise(sound, 0.12);
    SoftenEdges(sound);
    return sound;
}

StationSound MakeAdvertisement(uint64_t seed, double seconds) {
    StationSound sound = MakeSong(seed * 2 + 1, seconds);
    const StationSound speech = MakeSpeech(seed * 2, seconds);
    Scale(sound, Decibels(-8.0));
    for (size_t i = 0; i < sound.size(); ++i) sound[i] += speech[i];
    SoftenEdges(sound);
    return sound;
}

}  // namespace receiver
