// The format records of the fakes.
#pragma once

#include <cstdint>

#include "audio/audio_file.h"

namespace receiver {

inline WAVEFORMATEX FormatOf(int channels, int rate, int bits = 16) {
    WAVEFORMATEX format;
    format.wFormatTag = kFormatTagPcm;
    format.nChannels = static_cast<uint16_t>(channels);
    format.nSamplesPerSec = static_cast<uint32_t>(rate);
    format.nBlockAlign = static_cast<uint16_t>(bits / 8 * channels);
    format.nAvgBytesPerSec = static_cast<uint32_t>(bits / 8 * channels * rate);
    format.wBitsPerSample = static_cast<uint16_t>(bits);
    return format;
}

}  // namespace receiver
