// What writing a container takes, for whoever has packets of one stream. Private to
// audio_output/.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "audio/ffmpeg.h"
#include "audio_output/audio_encoder.h"
#include "audio_output/output_format.h"

namespace receiver {

struct OutputContextDeleter {
    void operator()(AVFormatContext* context) const { avformat_free_context(context); }
};
using OutputContextPtr = std::unique_ptr<AVFormatContext, OutputContextDeleter>;

std::string FfmpegErrorText(int code);

// Throws std::runtime_error with what was tried and why it failed.
int Check(int result, const char* what);
template <typename T>
T* Check(T* object, const char* what) {
    if (object == nullptr) throw std::runtime_error(what);
    return object;
}

// A muxer with one stream, whose parameters are yet to be set. The context outlives it.
OutputContextPtr MakeMuxer(const OutputFormat& format, AVIOContext* io);
// FFmpeg's result. `options` as in OutputFormat.
int WriteMuxerHead(AVFormatContext& muxer, const RecordingTags& tags, const char* options);

}  // namespace receiver
