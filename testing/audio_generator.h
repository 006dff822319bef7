// Test audio made by arithmetic alone: the same seed gives the same audio in every
// run, and the same sound at every rate, channel count and length.
//
//   Units    rates in Hz; lengths in frames (one sample of every channel) or ms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace receiver {

// Interleaved 16-bit PCM.
struct TestPcm {
    int rate = 44100;
    int channels = 2;
    std::vector<int16_t> samples;

    size_t Frames() const { return samples.size() / static_cast<size_t>(channels); }
    size_t Bytes() const { return samples.size() * sizeof(int16_t); }
    // The samples of the frames from `first` up to `end`. Throws std::out_of_range.
    std::vector<int16_t> Range(uint64_t first, uint64_t end) const;
};

// SplitMix64: small, portable, and equal on every platform.
class TestRandom final {
public:
    explicit TestRandom(uint64_t seed) : state_(seed) {}
    uint64_t Next();
    uint64_t Below(uint64_t bound) { return Next() % bound; }
    double Unit() { return static_cast<double>(Next() >> 11) * 0x1p-53; }  // [0, 1)
    double Between(double low, double high) { return low + (high - low) * Unit(); }

private:
    uint64_t state_;
};

size_t FramesOf(int rate, uint32_t ms);

TestPcm MakeSilence(int rate, int channels, size_t frames);
// A sine of half the full scale in every channel.
TestPcm MakeTone(int rate, int channels, size_t frames, double hz);
// Full-scale white noise, independent in every channel: the hardest input for a codec.
TestPcm MakeNoise(uint64_t seed, int rate, int channels, size_t frames);
// Short chords and bursts between 300 and 3000 Hz that never repeat: one seed is one
// jingle or one programme. The spectrum changes every 50 to 150 ms, the channels differ.
TestPcm MakeMusic(uint64_t seed, int rate, int channels, size_t frames);

// One after the other; all of the first one's rate and channel count.
TestPcm Concatenate(const std::vector<TestPcm>& parts);
// `frames` frames from `first` on. Throws std::out_of_range.
TestPcm Slice(const TestPcm& pcm, size_t first, size_t frames);

}  // namespace receiver
