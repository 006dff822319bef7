// The sound of the demo's radio station, made by code: music, two jingles and a
// voice that babbles. 44100 Hz, stereo, 16 bits; the same samples on every run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace receiver {

inline constexpr uint32_t kStudioRate = 44100;
inline constexpr unsigned kStudioChannels = 2;

using StereoPcm = std::vector<int16_t>;  // interleaved

StereoPcm MakeMusic(double seconds, uint32_t seed);
StereoPcm MakeJingle(double seconds, uint32_t seed);
StereoPcm MakeSpeech(double seconds, uint32_t seed);

// One round of the station's day, and where its parts lie (in sample frames).
struct Broadcast {
    StereoPcm pcm;
    uint64_t startJingle = 0;
    uint64_t programme = 0;
    uint64_t endJingle = 0;
    uint64_t afterEndJingle = 0;
};

Broadcast MakeBroadcast(const StereoPcm& startJingle, const StereoPcm& endJingle,
                        double programmeSeconds);

}  // namespace receiver
