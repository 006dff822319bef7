// Decoded frames as the PCM that a reader asks for, in pieces of the reader's size: what
// a frame gives beyond the piece is kept for the next one. Private to audio/.
//
//   Units    bytes of output PCM; samples per channel where named.
//   Threads  one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "audio/decoder_errors.h"
#include "audio/ffmpeg.h"
#include "audio/frame_converter.h"

namespace receiver {

class DecodedPcm final {
public:
    // As FrameConverter's; false for what that cannot convert.
    bool Open(const AVCodecContext& codec, uint32_t outputRate, int outputBits, int outputChannels);
    void Close();
    bool Restart();  // forgets what was fed and what is kept, after a seek

    // Moves what is kept into `buffer`, as far as it has room; returns the bytes.
    uint32_t TakeKept(uint8_t* buffer, uint32_t room);
    // Converts the frame from sample `skip` on: into `buffer` if it is sure to fit there,
    // else to be kept; nothing may be kept before. `bytes` becomes how many are in `buffer`.
    // kDecoderErrorNone, or kDecoderErrorResampler or -OutOfMemory and 0 bytes.
    uint32_t Convert(const AVFrame& frame, int skip, uint8_t* buffer, uint32_t room,
                     uint32_t* bytes);

    int Channels() const { return converter_.OutputChannels(); }
    size_t BlockAlign() const { return converter_.OutputBlockAlign(); }

private:
    FrameConverter converter_;
    // Bytes keptStart_ up to keptEnd_ are kept; its size is the capacity.
    std::vector<uint8_t> kept_;
    size_t keptStart_ = 0;
    size_t keptEnd_ = 0;
};

}  // namespace receiver
