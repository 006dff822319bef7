// A recording to listen for as it sounds in the stream: decoded as the receiver decodes it, at
// the rate in which the stream is counted, mixed to mono. Only its two ends are kept.
//
//   Units   frames at kJingleRate.
//   Errors  throws std::runtime_error for what is no audio file, as the receiver words it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace receiver {

inline constexpr uint32_t kJingleRate = 44100;
// Of either end: enough to be told from all else when somebody talks over it.
inline constexpr size_t kMaxJingleEndFrames = size_t{6} * kJingleRate;

struct JingleSound {
    uint64_t frames = 0;      // to its very last sample
    uint64_t countedAs = 0;   // by the receiver, which counts at half the rate
    std::vector<float> head;  // its first kMaxJingleEndFrames, or all
    std::vector<float> tail;  // its last ones
    uint64_t tailAt = 0;      // where the tail begins
};

// `path` in UTF-8.
JingleSound LoadJingleSound(const std::string& path);

// The frames of interleaved 16-bit PCM in mono, appended.
void AppendMono(const void* pcm, size_t frames, unsigned channels, std::vector<float>& mono);

}  // namespace receiver
