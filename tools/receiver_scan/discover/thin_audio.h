// The sound of hours, thin enough to be held in memory: the mono mix at 5000 Hz, a byte a
// sample. What is left is enough to lay two playings of a recording over each other.
//
//   Units    samples at kThinRate.
//   Threads  one at a time.
//   Memory   18 MB an hour.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "audio/mono_resampler.h"

namespace receiver {

inline constexpr int kThinRate = 5000;

class ThinAudio final {
public:
    void Append(std::span<const int16_t> samples);
    // Full scale is 1. What lies outside is silence.
    std::vector<float> Between(int64_t first, size_t count) const;

private:
    std::deque<int8_t> samples_;  // no block that moves as it grows
};

// Makes it from samples at the analysis rate.
class AudioThinner final {
public:
    AudioThinner();  // throws SourceError
    void Append(std::span<const int16_t> samples);
    ThinAudio Finish();  // once, at the end

private:
    MonoResampler resampler_;
    std::vector<int16_t> resampled_;  // scratch of one call
    ThinAudio thin_;
};

}  // namespace receiver
