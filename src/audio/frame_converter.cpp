#include "audio/frame_converter.h"

namespace receiver {
namespace {

bool SameLayout(const AVChannelLayout& a, const AVChannelLayout& b) {
    if (a.nb_channels != b.nb_channels) return false;
    if (a.order == AV_CHANNEL_ORDER_UNSPEC || b.order == AV_CHANNEL_ORDER_UNSPEC) return true;
    return av_channel_layout_compare(&a, &b) == 0;
}

AVSampleFormat FormatOfBits(int bits) {
    switch (bits) {
        case 8:
            return AV_SAMPLE_FMT_U8;
        case 16:
            return AV_SAMPLE_FMT_S16;
        case 32:
            return AV_SAMPLE_FMT_S32;
        default:
            return AV_SAMPLE_FMT_NONE;
    }
}

}  // namespace

FrameConverter::~FrameConverter() {
    Close();
}

bool FrameConverter::Open(const AVCodecContext& codec, uint32_t outputRate, int outputBits,
                          int outputChannels) {
    Close();
    const int channels = outputChannels != 0 ? outputChannels : codec.ch_layout.nb_channels;
    outputFormat_ = FormatOfBits(outputBits);
    if (outputFormat_ == AV_SAMPLE_FMT_NONE || channels < 1 || channels > kMaxChannels ||
        outputRate == 0 || outputRate > kMaxInputRate) {
        return false;
    }
    av_channel_layout_default(&outputLayout_, channels);
    outputRate_ = static_cast<int>(outputRate);
    copiesMono_ = outputChannels > 1;
    outputBlockAlign_ = static_cast<size_t>(outputBits / 8) * static_cast<size_t>(channels);
    return Build(codec.sample_rate, codec.sample_fmt, codec.ch_layout);
}

void FrameConverter::Close() {
    resampler_.reset();
    av_channel_layout_uninit(&outputLayout_);
    av_channel_layout_uninit(&inputLayout_);
    outputBlockAlign_ = 0;
}

bool FrameConverter::Build(int rate, int format, const AVChannelLayout& layout) {
    resampler_.reset();
    if (rate < kMinInputRate || rate > kMaxInputRate || layout.nb_channels < 1 ||
        layout.nb_channels > kMaxChannels || format <= AV_SAMPLE_FMT_NONE ||
        format >= AV_SAMPLE_FMT_NB || av_channel_layout_copy(&inputLayout_, &layout) < 0) {
        return false;
    }
    inputRate_ = rate;
    inputFormat_ = format;
    SwrContext* made = nullptr;
    const int result =
        swr_alloc_set_opts2(&made, &outputLayout_, outputFormat_, outputRate_, &inputLayout_,
                            static_cast<AVSampleFormat>(format), rate, 0, nullptr);
    ResamplerPtr resampler(made);
    if (result >= 0 && copiesMono_ && layout.nb_channels == 1) {
        const std::vector<double> ones(static_cast<size_t>(outputLayout_.nb_channels), 1.0);
        if (swr_set_matrix(made, ones.data(), 1) < 0) return false;
    }
    if (result < 0 || swr_init(resampler.get()) < 0) return false;
    resampler_ = std::move(resampler);
    return true;
}

bool FrameConverter::Restart() {
    return resampler_ && swr_init(resampler_.get()) >= 0;
}

bool FrameConverter::Accept(const AVFrame& frame) {
    if (resampler_ && frame.sample_rate == inputRate_ && frame.format == inputFormat_ &&
        SameLayout(frame.ch_layout, inputLayout_)) {
        return true;
    }
    return Build(frame.sample_rate, frame.format, frame.ch_layout);
}

int64_t FrameConverter::OutputBound(int inputSamples) const {
    const int64_t held = swr_get_delay(resampler_.get(), inputRate_);
    return av_rescale_rnd(held + inputSamples, outputRate_, inputRate_, AV_ROUND_UP);
}

int FrameConverter::Convert(const AVFrame& frame, int skip, uint8_t* output, int capacity) {
    const bool planar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format)) != 0;
    const auto channels = static_cast<size_t>(frame.ch_layout.nb_channels);
    const auto sampleBytes =
        static_cast<size_t>(av_get_bytes_per_sample(static_cast<AVSampleFormat>(frame.format)));
    const size_t offset = static_cast<size_t>(skip) * sampleBytes * (planar ? 1 : channels);
    planes_.clear();
    for (size_t plane = 0; plane < (planar ? channels : 1); ++plane) {
        planes_.push_back(frame.extended_data[plane] + offset);
    }
    return swr_convert(resampler_.get(), &output, capacity, planes_.data(),
                       frame.nb_samples - skip);
}

}  // namespace receiver
