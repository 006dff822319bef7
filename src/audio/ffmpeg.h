// FFmpeg's objects under C++ ownership; the only place that frees them. For audio/ and
// tools/audio_output: no other folder includes FFmpeg.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <memory>

namespace receiver {

// FFmpeg frees by a function that takes the pointer's address and clears it.
template <auto Free>
struct FfmpegDeleter {
    template <typename T>
    void operator()(T* object) const {
        Free(&object);
    }
};

using InputContextPtr = std::unique_ptr<AVFormatContext, FfmpegDeleter<avformat_close_input>>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, FfmpegDeleter<avcodec_free_context>>;
using ResamplerPtr = std::unique_ptr<SwrContext, FfmpegDeleter<swr_free>>;
using FramePtr = std::unique_ptr<AVFrame, FfmpegDeleter<av_frame_free>>;
using PacketPtr = std::unique_ptr<AVPacket, FfmpegDeleter<av_packet_free>>;
using DictionaryPtr = std::unique_ptr<AVDictionary, FfmpegDeleter<av_dict_free>>;

// Keeps FFmpeg's own messages off the standard streams; FfmpegLogListener alone hears them.
// Once per process, any thread.
void SilenceFfmpegLog();

}  // namespace receiver
