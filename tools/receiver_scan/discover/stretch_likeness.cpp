#include "receiver_scan/discover/stretch_likeness.h"

#include <bit>

namespace receiver {
namespace {

constexpr double kBitsPerWord = 32.0;
constexpr int kClearBits = 3;
constexpr size_t kShort = 120;   // 1.5 s
constexpr size_t kMedium = 240;  // 3 s
constexpr double kMaxSameBer = 0.27;

// The shorter, the more often chance gives a likeness.
double ByLength(size_t words, double ofShort, double ofMedium, double ofLong) {
    if (words < kShort) return ofShort;
    return words < kMedium ? ofMedium : ofLong;
}

}  // namespace

StretchLikeness CompareStretches(const uint32_t* a, const uint32_t* b, size_t words) {
    uint64_t bits = 0;
    size_t clear = 0;
    for (size_t i = 0; i < words; ++i) {
        const int differing = std::popcount(a[i] ^ b[i]);
        bits += static_cast<uint64_t>(differing);
        if (differing <= kClearBits) ++clear;
    }
    const auto count = static_cast<double>(words);
    return {static_cast<double>(bits) / (kBitsPerWord * count), static_cast<double>(clear) / count};
}

bool IsSameRecording(const StretchLikeness& likeness, size_t words) {
    return likeness.ber <= kMaxSameBer && likeness.clearShare >= ByLength(words, 0.42, 0.32, 0.25);
}

bool IsAnotherPlaying(const StretchLikeness& likeness, size_t words) {
    return likeness.ber <= MaxPlayingBer(words) &&
           likeness.clearShare >= ByLength(words, 0.33, 0.22, 0.14);
}

double MaxPlayingBer(size_t words) {
    return ByLength(words, 0.28, 0.30, 0.33);
}

}  // namespace receiver
