#include "receiver_scan/discover/thin_audio.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "detect/audio_fingerprinter.h"
#include "receiver_scan/source/opened_source.h"

namespace receiver {
namespace {

// What a byte stands for grows with its square: what is soft is as finely told as what is loud.
constexpr float kSteps = 127.0F;

int8_t ToByte(int16_t sample) {
    const float root = std::sqrt(std::abs(static_cast<float>(sample)) / 32768.0F);
    const auto step = static_cast<int8_t>(std::lround(kSteps * root));
    return sample < 0 ? static_cast<int8_t>(-step) : step;
}

float FromByte(int8_t byte) {
    const float root = static_cast<float>(byte) / kSteps;
    return root * std::abs(root);
}

}  // namespace

void ThinAudio::Append(std::span<const int16_t> samples) {
    for (const int16_t sample : samples) samples_.push_back(ToByte(sample));
}

std::vector<float> ThinAudio::Between(int64_t first, size_t count) const {
    std::vector<float> clip(count);
    const auto size = static_cast<int64_t>(samples_.size());
    const int64_t from = std::clamp<int64_t>(first, 0, size);
    const int64_t to = std::clamp<int64_t>(first + static_cast<int64_t>(count), from, size);
    std::transform(samples_.begin() + from, samples_.begin() + to, clip.begin() + (from - first),
                   FromByte);
    return clip;
}

AudioThinner::AudioThinner() {
    if (!resampler_.Open(kAnalysisRate, kThinRate)) {
        throw SourceError("the audio cannot be resampled");
    }
}

void AudioThinner::Append(std::span<const int16_t> samples) {
    const auto count = static_cast<int>(samples.size());
    const int bound = std::max(resampler_.OutputBound(count), 0);
    resampled_.resize(static_cast<size_t>(bound));
    const int converted = resampler_.Convert(samples.data(), count, resampled_.data(), bound);
    if (converted < 0) throw SourceError("the audio cannot be resampled");
    thin_.Append({resampled_.data(), static_cast<size_t>(converted)});
}

ThinAudio AudioThinner::Finish() {
    constexpr int kDrainSamples = 1024;
    resampled_.resize(kDrainSamples);
    int drained = 0;
    while ((drained = resampler_.Drain(resampled_.data(), kDrainSamples)) > 0) {
        thin_.Append({resampled_.data(), static_cast<size_t>(drained)});
    }
    return std::move(thin_);
}

}  // namespace receiver
