// The FFmpeg objects of one open CFFmpegStreamingDecoder. Private to audio/.
#pragma once

#include "audio/ffmpeg.h"
#include "audio/ffmpeg_streaming_decoder.h"
#include "audio/frame_converter.h"

namespace receiver {

struct CFFmpegStreamingDecoder::Ffmpeg {
    InputContextPtr input;
    CodecContextPtr codec;
    FrameConverter converter;
    FramePtr frame;    // reused for every decoded frame
    PacketPtr packet;  // reused for every read packet
};

}  // namespace receiver
