#include "detect/audio_fingerprinter.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace receiver {
namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr uint32_t kMaxFftSize = 0x30000000;

double DistanceInRatio(uint32_t power, int32_t length) {
    const double n = power;
    const double l = length;
    return std::min(std::abs(1.0 - l / n), std::abs(1.0 - n / l));
}

std::vector<double> HannWindow(uint32_t length) {
    std::vector<double> window(length);
    for (uint32_t i = 0; i < length; ++i) {
        window[i] = (1.0 - std::cos(i * kTwoPi / (length - 1.0))) * 0.5;
    }
    return window;
}

}  // namespace

int64_t FrameClock::StartSample() const {
    return std::llrint(seconds_ * sampleRate_);
}

uint32_t NearestPowerOfTwo(int32_t length) {
    if (length < 1) return 0;
    uint32_t power = 1;
    double best = DistanceInRatio(power, length);
    while (power < kMaxFftSize) {
        power *= 2;
        const double distance = DistanceInRatio(power, length);
        if (distance > best) return power / 2;
        best = distance;
    }
    return 0;
}

void CAudioFingerprinter::SetUp(int32_t sampleRate, double frameSeconds, double hopSeconds) {
    sampleRate_ = sampleRate;
    hopSeconds_ = hopSeconds;
    const auto length = static_cast<int32_t>(std::llrint(sampleRate * frameSeconds));
    fftSize_ = NearestPowerOfTwo(length);
    frameSeconds_ = static_cast<double>(fftSize_) / sampleRate;
    pad_ = fftSize_ == 0 ? 0 : std::max((static_cast<int32_t>(fftSize_) - length) / 2, 0);

    window_ = HannWindow(WindowLength());
    bandEdges_.assign(bitCount_ + 2, 0);
    if (fftSize_ != 0) SetUpBandEdges();
    fft_ = fftSize_ != 0 ? std::make_unique<Fft>(fftSize_) : nullptr;
    bandEnergies_.assign(bitCount_ + 1, 0.0);
    previousDifferences_.assign(bitCount_, 0.0);
}

void CAudioFingerprinter::SetUpBandEdges() {
    const double base = std::pow(highHz_ / lowHz_, 1.0 / (bitCount_ + 1));
    for (int k = 0; k < bitCount_ + 2; ++k) {
        const double bin = std::pow(base, k) * lowHz_ / sampleRate_ * fftSize_;
        bandEdges_[k] = static_cast<int32_t>(std::floor(bin));
    }
}

uint32_t CAudioFingerprinter::ComputeWord(const int16_t* samples, int64_t sampleCount,
                                          int64_t startIndex) {
    if (!fft_) return 0;
    const auto length = static_cast<int64_t>(WindowLength());
    const int64_t first = std::clamp<int64_t>(-startIndex, 0, length);
    const int64_t last = std::clamp<int64_t>(sampleCount - startIndex, first, length);
    std::complex<double>* frame = fft_->Data() + pad_;
    std::fill(fft_->Data(), frame + first, 0.0);
    if (first < last) {
        kernels_->applyWindow(samples + (startIndex + first), window_.data() + first,
                              static_cast<size_t>(last - first), frame + first);
    }
    std::fill(frame + last, fft_->Data() + fftSize_, 0.0);
    fft_->Execute();
    return WordOfTransform();
}

uint32_t CAudioFingerprinter::ComputeWord(const int16_t* samples) {
    return ComputeWord(samples, WindowLength(), 0);
}

uint32_t CAudioFingerprinter::WordOfTransform() {
    const std::complex<double>* bins = fft_->Data();
    for (int band = 0; band <= bitCount_; ++band) {
        const int32_t begin = bandEdges_[band];
        bandEnergies_[band] =
            kernels_->bandEnergy(bins + begin, static_cast<size_t>(bandEdges_[band + 1] - begin));
    }
    uint32_t word = 0;
    for (int bit = 0; bit < bitCount_; ++bit) {
        const double difference = bandEnergies_[bit] - bandEnergies_[bit + 1];
        if (difference - previousDifferences_[bit] > 0.0) word |= 1u << bit;
        previousDifferences_[bit] = difference;
    }
    return word;
}

}  // namespace receiver
