#include "audio/correlation.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstddef>
#include <memory>

#include "audio/ffmpeg.h"

extern "C" {
#include <libavutil/tx.h>
}

namespace receiver {
namespace {

using Spectrum = std::vector<std::complex<float>>;

// The same length forwards and backwards.
class Transform final {
public:
    explicit Transform(size_t length) {
        const auto size = static_cast<int>(length);
        const float scale = 1.0F;
        AVTXContext* made = nullptr;
        if (av_tx_init(&made, &forward_, AV_TX_FLOAT_FFT, 0, size, &scale, AV_TX_UNALIGNED) >= 0) {
            there_.reset(made);
        }
        made = nullptr;
        if (av_tx_init(&made, &backward_, AV_TX_FLOAT_FFT, 1, size, &scale, AV_TX_UNALIGNED) >= 0) {
            back_.reset(made);
        }
    }
    bool IsReady() const { return there_ && back_; }
    void Forward(Spectrum& out, Spectrum& in) const {
        forward_(there_.get(), out.data(), in.data(), sizeof(AVComplexFloat));
    }
    void Backward(Spectrum& out, Spectrum& in) const {
        backward_(back_.get(), out.data(), in.data(), sizeof(AVComplexFloat));
    }

private:
    std::unique_ptr<AVTXContext, FfmpegDeleter<av_tx_uninit>> there_, back_;
    av_tx_fn forward_ = nullptr, backward_ = nullptr;
};
static_assert(sizeof(std::complex<float>) == sizeof(AVComplexFloat));

void FillWith(Spectrum& block, const float* samples, size_t count) {
    std::copy(samples, samples + count, block.begin());
    std::fill(block.begin() + static_cast<std::ptrdiff_t>(count), block.end(), 0.0F);
}

// FFmpeg has no fast transform of more than 131072 values.
constexpr size_t kMaxPieceSamples = 131072 / 4;

struct Piece {
    const float* samples;
    size_t count;
};

// Adds the sums of products of a piece of the pattern, by overlapping blocks. False without memory.
bool AddProducts(const Piece& piece, const Piece& signal, std::vector<float>& sums) {
    const size_t length = std::bit_ceil(std::min(4 * piece.count, signal.count));
    const Transform transform(length);
    if (!transform.IsReady()) return false;
    Spectrum block(length), reference(length), product(length);
    FillWith(block, piece.samples, piece.count);
    transform.Forward(reference, block);
    const size_t step = length - piece.count + 1;
    const float scale = 1.0F / static_cast<float>(length);
    for (size_t at = 0; at < sums.size(); at += step) {
        FillWith(block, signal.samples + at, std::min(length, signal.count - at));
        transform.Forward(product, block);
        for (size_t i = 0; i < length; ++i) product[i] *= std::conj(reference[i]);
        transform.Backward(block, product);
        const size_t count = std::min(step, sums.size() - at);
        for (size_t i = 0; i < count; ++i) sums[at + i] += block[i].real() * scale;
    }
    return true;
}

std::vector<float> Products(const std::vector<float>& pattern, const std::vector<float>& signal) {
    std::vector<float> sums(signal.size() - pattern.size() + 1);
    for (size_t at = 0; at < pattern.size(); at += kMaxPieceSamples) {
        const size_t count = std::min(kMaxPieceSamples, pattern.size() - at);
        const Piece around{signal.data() + at, sums.size() + count - 1};
        if (!AddProducts({pattern.data() + at, count}, around, sums)) return {};
    }
    return sums;
}

}  // namespace

std::vector<float> Correlate(const std::vector<float>& pattern, const std::vector<float>& signal) {
    if (pattern.empty() || signal.size() < pattern.size()) return {};
    double patternEnergy = 0;
    for (const float sample : pattern) patternEnergy += static_cast<double>(sample) * sample;
    if (patternEnergy <= 0) return {};
    std::vector<float> alike = Products(pattern, signal);
    double energy = 0;
    for (size_t i = 0; i + 1 < pattern.size(); ++i) {
        energy += static_cast<double>(signal[i]) * signal[i];
    }
    // What stands beside a loud passage is left out: rounding would make it look like anything.
    const double floor = patternEnergy * 1e-4;
    for (size_t at = 0; at < alike.size(); ++at) {
        const double entering = signal[at + pattern.size() - 1];
        energy += entering * entering;
        alike[at] = energy > floor
                        ? static_cast<float>(alike[at] / std::sqrt(energy * patternEnergy))
                        : 0.0F;
        const double leaving = signal[at];
        energy -= leaving * leaving;
    }
    return alike;
}

}  // namespace receiver
