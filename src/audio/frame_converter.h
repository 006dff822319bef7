// Decoded frames of any sample format, rate and channel layout to the packed
// integer PCM of one output format. Private to audio/.
//
//   Units    sample counts are per channel; bytes only where named.
//   Threads  one at a time.
//   Errors   by result. A frame unlike the ones before (a chained stream) gets a
//            resampler of its own; the output format never changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "audio/ffmpeg.h"

namespace receiver {

class FrameConverter final {
public:
    FrameConverter() = default;
    ~FrameConverter();
    FrameConverter(const FrameConverter&) = delete;
    FrameConverter& operator=(const FrameConverter&) = delete;

    // Takes the input's parameters from the opened decoder; without `outputChannels` the output
    // keeps its channel count. False for what cannot be converted: widths other than 8, 16 and 32
    // bits, rates outside kMinInputRate..kMaxInputRate, more channels than the resampler takes.
    bool Open(const AVCodecContext& codec, uint32_t outputRate, int outputBits,
              int outputChannels = 0);
    void Close();
    bool Restart();  // forgets what was fed, after a seek

    // Before the two below, for each frame; drops what is held back of frames of another kind.
    bool Accept(const AVFrame& frame);
    // The most samples that Convert gives for `inputSamples` more of input.
    int64_t OutputBound(int inputSamples) const;
    // Converts the frame from sample `skip` on into `output`, which has room for
    // `capacity` samples. Returns the samples written, or a negative FFmpeg code.
    int Convert(const AVFrame& frame, int skip, uint8_t* output, int capacity);

    int OutputChannels() const { return outputLayout_.nb_channels; }
    size_t OutputBlockAlign() const { return outputBlockAlign_; }

private:
    // Outside these no real audio lies, and a resampler would take unbounded memory or time.
    static constexpr int kMinInputRate = 1000;
    static constexpr int kMaxInputRate = 1536000;
    static constexpr int kMaxChannels = 64;

    bool Build(int rate, int format, const AVChannelLayout& layout);

    ResamplerPtr resampler_;
    AVChannelLayout outputLayout_{};
    AVSampleFormat outputFormat_ = AV_SAMPLE_FMT_NONE;
    int outputRate_ = 0;
    size_t outputBlockAlign_ = 0;
    AVChannelLayout inputLayout_{};  // what resampler_ was built for
    int inputFormat_ = AV_SAMPLE_FMT_NONE;
    int inputRate_ = 0;
    bool copiesMono_ = false;  // to every channel asked for, as loud as it is
    std::vector<const uint8_t*> planes_;
};

}  // namespace receiver
