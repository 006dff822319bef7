// Why a decoder failed, as CFFmpegStreamingDecoder::ErrorCode() keeps it and the network
// source words it.
#pragma once

#include <cstdint>

namespace receiver {

inline constexpr uint32_t kDecoderErrorNone = 0;
inline constexpr uint32_t kDecoderErrorOpen = 256;     // input or its options
inline constexpr uint32_t kDecoderErrorNoAudio = 257;  // no stream info, no audio stream
inline constexpr uint32_t kDecoderErrorCodec = 258;    // no decoder, or bad parameters
inline constexpr uint32_t kDecoderErrorCodecContext = 259;
inline constexpr uint32_t kDecoderErrorCodecOpen = 260;
inline constexpr uint32_t kDecoderErrorResampler = 261;
inline constexpr uint32_t kDecoderErrorOutOfMemory = 262;
inline constexpr uint32_t kDecoderErrorSeek = 263;

}  // namespace receiver
