#include "detect/hamming.h"

#include <bit>
#include <cstring>

// GCC and clang compile for the oldest x86-64, which has no instruction for the
// population count: it is chosen at run time. MSVC does so by itself.
#if defined(__GNUC__) && defined(__x86_64__)
#define RECEIVER_HAMMING_INLINE inline __attribute__((always_inline))
#define RECEIVER_HAMMING_POPCNT __attribute__((target("popcnt")))
#else
#define RECEIVER_HAMMING_INLINE inline
#endif

namespace receiver {
namespace {

constexpr size_t kWordsPerCheck = 16;

// Of two words a step, written out: the compiler would not unroll a loop this short.
template <size_t kWords>
RECEIVER_HAMMING_INLINE uint64_t DifferingBitsOf(const uint32_t* a, const uint32_t* b) {
    if constexpr (kWords == 2) {
        uint64_t left;
        uint64_t right;
        std::memcpy(&left, a, sizeof(left));
        std::memcpy(&right, b, sizeof(right));
        return static_cast<uint64_t>(std::popcount(left ^ right));
    } else {
        constexpr size_t kHalf = kWords / 2;
        return DifferingBitsOf<kHalf>(a, b) + DifferingBitsOf<kHalf>(a + kHalf, b + kHalf);
    }
}

RECEIVER_HAMMING_INLINE uint64_t Count(const uint32_t* a, const uint32_t* b, size_t words,
                                       uint64_t limit) {
    uint64_t bits = 0;
    size_t left = words;
    while (left >= kWordsPerCheck) {
        left -= kWordsPerCheck;
        bits += DifferingBitsOf<kWordsPerCheck>(a + left, b + left);
        if (bits > limit) return bits;
    }
    while (left > 0) {
        --left;
        bits += static_cast<uint64_t>(std::popcount(a[left] ^ b[left]));
    }
    return bits;
}

#ifdef RECEIVER_HAMMING_POPCNT
RECEIVER_HAMMING_POPCNT uint64_t CountByInstruction(const uint32_t* a, const uint32_t* b,
                                                    size_t words, uint64_t limit) {
    return Count(a, b, words, limit);
}

bool HasInstruction() {
    static const bool has = __builtin_cpu_supports("popcnt") != 0;
    return has;
}
#endif

}  // namespace

uint64_t DifferingBits(const uint32_t* a, const uint32_t* b, size_t words, uint64_t limit) {
#ifdef RECEIVER_HAMMING_POPCNT
    if (HasInstruction()) return CountByInstruction(a, b, words, limit);
#endif
    return Count(a, b, words, limit);
}

uint64_t PassingBits(uint64_t totalBits, double threshold) {
    const auto total = static_cast<double>(totalBits);
    uint64_t passing = 0;
    uint64_t highest = totalBits;
    while (passing < highest) {
        const uint64_t middle = highest - (highest - passing) / 2;
        if (static_cast<double>(middle) / total <= threshold) {
            passing = middle;
        } else {
            highest = middle - 1;
        }
    }
    return passing;
}

}  // namespace receiver
