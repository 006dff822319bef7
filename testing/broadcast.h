// What a station sends in these tests: noise, a start jingle, a programme, an end
// jingle, noise; and what a receiver must make of it.
//
//   Units    "Frame" counts frames at the station's rate, "sample" frames at 44100 Hz.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "testing/audio_generator.h"

namespace receiver {

inline constexpr uint32_t kStreamRate = 44100;
inline constexpr uint64_t kHopSamples = 552;  // one step of the analysis, rounded up

struct Broadcast {
    TestPcm audio;
    TestPcm startJingle, endJingle;
    size_t startJingleFrame, programmeFrame, endJingleFrame, tailFrame;

    // The sample at which a frame of the station lies in the decoded stream.
    uint64_t SampleOf(size_t frame) const;
};

// Jingles of 1.2 s, a programme of 4 s, 1.5 s of noise on either side.
Broadcast MakeBroadcast(int rate, int channels);

// The stream's PCM as the receiver's own decoder makes it of a local file: 44100 Hz, 16 bits.
struct DecodedStream {
    int channels = 0;
    std::vector<int16_t> samples;

    uint64_t Frames() const { return samples.size() / static_cast<size_t>(channels); }
    std::vector<int16_t> Range(uint64_t firstSample, uint64_t endSample) const;
};
DecodedStream DecodeStream(const std::string& path);
// Samples of a reference at 22050 Hz, twice: how long an outro lasts in the stream.
uint64_t OutroLength(const std::string& referencePath);

// The linear fade over the last `fadeFrames` of a program.
std::vector<int16_t> WithFade(std::vector<int16_t> samples, int channels, uint64_t fadeFrames);

}  // namespace receiver
