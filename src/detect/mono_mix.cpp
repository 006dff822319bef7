#include "detect/mono_mix.h"

#include <cstring>
#include <type_traits>

namespace receiver {
namespace {

int16_t SampleAt(const unsigned char* bytes) {
    int16_t sample;
    std::memcpy(&sample, bytes, sizeof(sample));
    return sample;
}

// `channels` may be a constant, which spares a division for each frame.
template <typename Channels>
void Mix(const void* pcm, size_t frames, Channels channels, int16_t* mono) {
    const auto* bytes = static_cast<const unsigned char*>(pcm);
    for (size_t frame = 0; frame < frames; ++frame) {
        int32_t sum = 0;
        for (int32_t channel = 0; channel < channels; ++channel) {
            sum += SampleAt(bytes);
            bytes += sizeof(int16_t);
        }
        mono[frame] = static_cast<int16_t>(sum / channels);
    }
}

}  // namespace

void MixToMono(const void* pcm, size_t frames, unsigned channels, int16_t* mono) {
    if (frames == 0 || channels == 0) return;
    if (channels == 1) {
        std::memcpy(mono, pcm, frames * sizeof(int16_t));
    } else if (channels == 2) {
        Mix(pcm, frames, std::integral_constant<int32_t, 2>(), mono);
    } else {
        Mix(pcm, frames, static_cast<int32_t>(channels), mono);
    }
}

}  // namespace receiver
