#include "testing/audio_generator.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>

namespace receiver {
namespace {

constexpr double kFullScale = 32767.0;
constexpr double kEdgeSeconds = 0.005;

// A sine that is stepped by rotation, so that long fixtures cost no sin() a sample.
struct Partial {
    double cosine, sine;          // the state
    double stepCosine, stepSine;  // the rotation of one sample
    double left, right;           // amplitudes

    void Advance() {
        const double next = cosine * stepCosine - sine * stepSine;
        sine = sine * stepCosine + cosine * stepSine;
        cosine = next;
    }
};

// What sounds between two changes of the spectrum, independent of the rate.
struct Segment {
    double seconds;
    size_t partials;
};

Segment NextSegment(TestRandom& random) {
    const bool burst = random.Below(4) == 0;
    const double seconds = random.Between(0.05, 0.15);
    return {seconds, burst ? size_t{24} : 3 + static_cast<size_t>(random.Below(4))};
}

std::vector<Partial> MakePartials(TestRandom& random, size_t count, int rate) {
    std::vector<Partial> partials;
    const double loudness = 0.7 / std::sqrt(static_cast<double>(count)) / 1.5;
    for (size_t i = 0; i < count; ++i) {
        const double hz = 300.0 * std::pow(10.0, random.Unit());
        const double phase = random.Between(0.0, 2.0 * std::numbers::pi);
        const double amplitude = loudness * random.Between(0.4, 1.0);
        const double balance = random.Between(0.6, 1.0);
        const double step = 2.0 * std::numbers::pi * hz / rate;
        partials.push_back({std::cos(phase), std::sin(phase), std::cos(step), std::sin(step),
                            amplitude, amplitude * balance});
    }
    return partials;
}

int16_t ToSample(double value) {
    const double scaled = std::nearbyint(value * kFullScale);
    return static_cast<int16_t>(
        scaled > kFullScale ? kFullScale : (scaled < -kFullScale ? -kFullScale : scaled));
}

TestPcm Allocate(int rate, int channels, size_t frames) {
    return {rate, channels, std::vector<int16_t>(frames * static_cast<size_t>(channels))};
}

void WriteFrame(TestPcm& pcm, size_t frame, double left, double right) {
    for (int channel = 0; channel < pcm.channels; ++channel) {
        pcm.samples[frame * static_cast<size_t>(pcm.channels) + static_cast<size_t>(channel)] =
            ToSample(channel % 2 == 0 ? left : right);
    }
}

}  // namespace

std::vector<int16_t> TestPcm::Range(uint64_t first, uint64_t end) const {
    if (first > end || end > Frames()) {
        throw std::out_of_range("no frames " + std::to_string(first) + " to " +
                                std::to_string(end) + " of " + std::to_string(Frames()));
    }
    const auto at = [this](uint64_t frame) {
        return samples.begin() + static_cast<std::ptrdiff_t>(frame) * channels;
    };
    return {at(first), at(end)};
}

uint64_t TestRandom::Next() {
    state_ += 0x9E3779B97F4A7C15;
    uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
}

size_t FramesOf(int rate, uint32_t ms) {
    return static_cast<size_t>(static_cast<uint64_t>(rate) * ms / 1000);
}

TestPcm MakeSilence(int rate, int channels, size_t frames) {
    return Allocate(rate, channels, frames);
}

TestPcm MakeTone(int rate, int channels, size_t frames, double hz) {
    TestPcm pcm = Allocate(rate, channels, frames);
    for (size_t frame = 0; frame < frames; ++frame) {
        const double value =
            0.5 * std::sin(2.0 * std::numbers::pi * hz * static_cast<double>(frame) / rate);
        WriteFrame(pcm, frame, value, value);
    }
    return pcm;
}

TestPcm MakeNoise(uint64_t seed, int rate, int channels, size_t frames) {
    TestPcm pcm = Allocate(rate, channels, frames);
    TestRandom random(seed);
    for (int16_t& sample : pcm.samples) sample = static_cast<int16_t>(random.Next() & 0xFFFF);
    return pcm;
}

TestPcm MakeMusic(uint64_t seed, int rate, int channels, size_t frames) {
    TestPcm pcm = Allocate(rate, channels, frames);
    TestRandom random(seed);
    double endSeconds = 0.0;
    for (size_t frame = 0; frame < frames;) {
        const Segment segment = NextSegment(random);
        std::vector<Partial> partials = MakePartials(random, segment.partials, rate);
        const double start = endSeconds * rate;
        endSeconds += segment.seconds;
        const double length = segment.seconds * rate;
        for (; frame < frames && static_cast<double>(frame) < start + length; ++frame) {
            double left = 0.0;
            double right = 0.0;
            for (Partial& partial : partials) {
                left += partial.sine * partial.left;
                right += partial.sine * partial.right;
                partial.Advance();
            }
            // Soft edges keep the energy of a change inside the band.
            const double seconds = (static_cast<double>(frame) - start) / rate;
            const double envelope =
                std::min({1.0, seconds / kEdgeSeconds, (segment.seconds - seconds) / kEdgeSeconds});
            WriteFrame(pcm, frame, left * envelope, right * envelope);
        }
    }
    return pcm;
}

TestPcm Concatenate(const std::vector<TestPcm>& parts) {
    TestPcm all{parts.at(0).rate, parts.at(0).channels, {}};
    for (const TestPcm& part : parts) {
        if (part.rate != all.rate || part.channels != all.channels) {
            throw std::invalid_argument("parts of different formats");
        }
        all.samples.insert(all.samples.end(), part.samples.begin(), part.samples.end());
    }
    return all;
}

TestPcm Slice(const TestPcm& pcm, size_t first, size_t frames) {
    return {pcm.rate, pcm.channels, pcm.Range(first, uint64_t{first} + frames)};
}

}  // namespace receiver
