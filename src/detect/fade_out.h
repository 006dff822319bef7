// The end of a programme that fades to silence: linear, and silent in its last frame.
#pragma once

#include <cstddef>
#include <cstdint>

namespace receiver {

// The frames of interleaved 16-bit PCM, which needs no alignment, lie before an end that is
// `framesToEnd` frames from the first of them; the fade is as long as `fadeFrames`, 0 for none.
void FadeOut(void* pcm, uint64_t frames, unsigned channels, uint64_t framesToEnd,
             uint64_t fadeFrames);

}  // namespace receiver
