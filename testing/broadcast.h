// What a station sends: something, a start jingle, a programme, an end jingle, something; and
// what a receiver must make of it.
//
//   Units    "Frame" counts frames at the station's rate, "sample" frames at 44100 Hz.
#pragma once

#include <cstdint>
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

// Of these parts, all of one rate and channel count.
Broadcast MakeBroadcast(const TestPcm& before, const TestPcm& startJingle, const TestPcm& programme,
                        const TestPcm& endJingle, const TestPcm& after);
// Jingles of 1.2 s, a programme of 4 s, 1.5 s of noise on either side.
Broadcast MakeBroadcast(int rate, int channels);

// The stream's PCM as the receiver's own decoder makes it of a local file: 44100 Hz, 16 bits.
TestPcm DecodeStream(const std::string& path);
// Samples of a reference at 22050 Hz, twice: how long an outro lasts in the stream.
uint64_t OutroLength(const std::string& referencePath);

// The linear fade over the last `fadeFrames` of a program.
std::vector<int16_t> WithFade(std::vector<int16_t> samples, int channels, uint64_t fadeFrames);

}  // namespace receiver
