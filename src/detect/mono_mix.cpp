#include "detect/mono_mix.h"

#include <cstring>

namespace {

int16_t SampleAt(const unsigned char* bytes) {
    int16_t sample;
    std::memcpy(&sample, bytes, sizeof(sample));
    return sample;
}

}  // namespace

void MixToMono(const void* pcm, size_t frames, unsigned channels, int16_t* mono) {
    if (frames == 0) return;
    if (channels == 1) {
        std::memcpy(mono, pcm, frames * sizeof(int16_t));
        return;
    }
    const auto* bytes = static_cast<const unsigned char*>(pcm);
    const auto divisor = static_cast<int32_t>(channels);
    for (size_t frame = 0; frame < frames; ++frame) {
        int32_t sum = 0;
        for (unsigned channel = 0; channel < channels; ++channel) {
            sum += SampleAt(bytes);
            bytes += sizeof(int16_t);
        }
        mono[frame] = static_cast<int16_t>(sum / divisor);
    }
}
