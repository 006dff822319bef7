#include "audio/mono_resampler.h"

#include <limits>

#include "audio/ffmpeg.h"

namespace receiver {

struct MonoResampler::Context {
    ResamplerPtr resampler;
};

MonoResampler::MonoResampler() : context_(std::make_unique<Context>()) {}

MonoResampler::~MonoResampler() = default;

bool MonoResampler::Open(uint32_t inputRate, uint32_t outputRate) {
    Close();
    SilenceFfmpegLog();
    constexpr uint32_t kMaxRate = std::numeric_limits<int>::max();
    if (inputRate == 0 || inputRate > kMaxRate || outputRate == 0 || outputRate > kMaxRate) {
        return false;
    }
    AVChannelLayout mono{};
    av_channel_layout_default(&mono, 1);
    SwrContext* made = nullptr;
    const int result =
        swr_alloc_set_opts2(&made, &mono, AV_SAMPLE_FMT_S16, static_cast<int>(outputRate), &mono,
                            AV_SAMPLE_FMT_S16, static_cast<int>(inputRate), 0, nullptr);
    ResamplerPtr resampler(made);
    if (result < 0 || swr_init(resampler.get()) < 0) return false;
    context_->resampler = std::move(resampler);
    return true;
}

void MonoResampler::Close() {
    context_->resampler.reset();
}

int MonoResampler::OutputBound(int inputSamples) const {
    if (!context_->resampler) return AVERROR(EINVAL);
    return swr_get_out_samples(context_->resampler.get(), inputSamples);
}

int MonoResampler::Convert(const int16_t* input, int inputSamples, int16_t* output,
                           int outputCapacity) {
    if (!context_->resampler) return AVERROR(EINVAL);
    const auto* from = reinterpret_cast<const uint8_t*>(input);
    auto* to = reinterpret_cast<uint8_t*>(output);
    return swr_convert(context_->resampler.get(), &to, outputCapacity, &from, inputSamples);
}

int MonoResampler::Drain(int16_t* output, int outputCapacity) {
    if (!context_->resampler) return AVERROR(EINVAL);
    auto* to = reinterpret_cast<uint8_t*>(output);
    return swr_convert(context_->resampler.get(), &to, outputCapacity, nullptr, 0);
}

}  // namespace receiver
