// Interleaved 16-bit PCM to mono: the sum of a frame's channels divided by their
// number, truncating toward zero.
#pragma once

#include <cstddef>
#include <cstdint>

namespace receiver {

// `pcm` needs no alignment. Writes `frames` samples.
void MixToMono(const void* pcm, size_t frames, unsigned channels, int16_t* mono);

}  // namespace receiver
