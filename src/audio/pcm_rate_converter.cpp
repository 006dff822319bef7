#include "audio/pcm_rate_converter.h"

#include <cstring>
#include <limits>

#include "audio/ffmpeg.h"

namespace receiver {

struct PcmRateConverter::Context {
    ResamplerPtr resampler;  // none where the rates are equal
};

PcmRateConverter::PcmRateConverter() : context_(std::make_unique<Context>()) {}

PcmRateConverter::~PcmRateConverter() = default;

PcmRateConverter::PcmRateConverter(PcmRateConverter&&) noexcept = default;

PcmRateConverter& PcmRateConverter::operator=(PcmRateConverter&&) noexcept = default;

bool PcmRateConverter::Open(uint32_t inputRate, uint32_t outputRate, uint16_t channels) {
    context_->resampler.reset();
    channels_ = channels;
    constexpr uint32_t kMaxRate = std::numeric_limits<int>::max();
    if (inputRate == 0 || inputRate > kMaxRate || outputRate == 0 || outputRate > kMaxRate ||
        channels == 0) {
        return false;
    }
    if (inputRate == outputRate) return true;
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, channels);
    SwrContext* made = nullptr;
    const int result =
        swr_alloc_set_opts2(&made, &layout, AV_SAMPLE_FMT_S16, static_cast<int>(outputRate),
                            &layout, AV_SAMPLE_FMT_S16, static_cast<int>(inputRate), 0, nullptr);
    ResamplerPtr resampler(made);
    av_channel_layout_uninit(&layout);
    if (result < 0 || swr_init(resampler.get()) < 0) return false;
    context_->resampler = std::move(resampler);
    return true;
}

bool PcmRateConverter::Convert(const int16_t* samples, size_t frames,
                               std::vector<uint8_t>& output) {
    const size_t blockAlign = channels_ * sizeof(int16_t);
    const size_t before = output.size();
    const auto* input = reinterpret_cast<const uint8_t*>(samples);
    if (!context_->resampler) {
        output.insert(output.end(), input, input + frames * blockAlign);
        return true;
    }
    const int room = swr_get_out_samples(context_->resampler.get(), static_cast<int>(frames));
    if (room < 0) return false;
    output.resize(before + static_cast<size_t>(room) * blockAlign);
    uint8_t* to = output.data() + before;
    const int made =
        swr_convert(context_->resampler.get(), &to, room, &input, static_cast<int>(frames));
    output.resize(before + static_cast<size_t>(made > 0 ? made : 0) * blockAlign);
    return made >= 0;
}

}  // namespace receiver
