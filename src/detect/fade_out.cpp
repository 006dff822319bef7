#include "detect/fade_out.h"

#include <algorithm>
#include <cstring>

namespace receiver {
namespace {

int16_t Scaled(int16_t sample, uint64_t numerator, uint64_t denominator) {
    const auto product = static_cast<int64_t>(numerator) * sample;
    return static_cast<int16_t>(product / static_cast<int64_t>(denominator));
}

}  // namespace

void FadeOut(void* pcm, uint64_t frames, unsigned channels, uint64_t framesToEnd,
             uint64_t fadeFrames) {
    if (fadeFrames == 0) return;
    const uint64_t plain = framesToEnd > fadeFrames ? framesToEnd - fadeFrames : 0;
    auto* at = static_cast<unsigned char*>(pcm);
    const size_t frameBytes = channels * sizeof(int16_t);
    for (uint64_t frame = std::min(plain, frames); frame < frames; ++frame) {
        const uint64_t remaining = framesToEnd - frame - 1;
        for (unsigned channel = 0; channel < channels; ++channel) {
            unsigned char* bytes = at + frame * frameBytes + channel * sizeof(int16_t);
            int16_t sample;
            std::memcpy(&sample, bytes, sizeof(sample));
            sample = Scaled(sample, remaining, fadeFrames);
            std::memcpy(bytes, &sample, sizeof(sample));
        }
    }
}

}  // namespace receiver
