#include "receiver_scan/check/word_comparison.h"

#include <limits>

#include "detect/hamming.h"

namespace receiver {
namespace {

constexpr double kBitsPerWord = 32.0;
constexpr double kUnlikeBer = 0.4;
constexpr double kChanceBer = 0.5;

uint64_t Bits(const uint32_t* a, const uint32_t* b, size_t words) {
    return DifferingBits(a, b, words, std::numeric_limits<uint64_t>::max());
}

}  // namespace

double BitErrorRate(std::span<const uint32_t> reference, std::span<const uint32_t> there) {
    const size_t words = reference.size() - 1;
    return static_cast<double>(Bits(reference.data() + 1, there.data() + 1, words)) /
           (kBitsPerWord * static_cast<double>(words));
}

std::optional<Likeness> BestShiftedSelf(std::span<const uint32_t> words) {
    std::optional<Likeness> best;
    bool unlike = false;
    for (size_t shift = 1; shift + 1 < words.size(); ++shift) {
        const size_t common = words.size() - 1 - shift;
        const auto bits = static_cast<double>(Bits(words.data() + 1, &words[1 + shift], common));
        const double missing = static_cast<double>(shift) * kBitsPerWord * kChanceBer;
        const double total = kBitsPerWord * static_cast<double>(words.size() - 1);
        if (bits / (kBitsPerWord * static_cast<double>(common)) >= kUnlikeBer) unlike = true;
        if (!unlike) continue;
        const double ber = (bits + missing) / total;
        if (!best || ber < best->ber) best = Likeness{ber, shift};
    }
    return best;
}

Likeness BestPlaceWithin(std::span<const uint32_t> shorter, std::span<const uint32_t> longer,
                         const std::function<bool()>& stop) {
    const size_t compared = shorter.size() - 1;
    const double total = kBitsPerWord * static_cast<double>(compared);
    uint64_t bestBits = std::numeric_limits<uint64_t>::max();
    size_t place = 0;
    for (size_t at = 0; at + shorter.size() <= longer.size(); ++at) {
        if (stop && stop()) break;
        const uint64_t bits =
            DifferingBits(shorter.data() + 1, &longer[at + 1], compared, bestBits);
        if (bits >= bestBits) continue;
        bestBits = bits;
        place = at;
    }
    return {static_cast<double>(bestBits) / total, place};
}

}  // namespace receiver
