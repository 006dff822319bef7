// The population count with 64-bit words, to be compiled into kernels for different
// processors: it is inlined into each, so that none calls what was made for another.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__GNUC__)
#define RECEIVER_KERNEL_INLINE inline __attribute__((always_inline))
#else
#define RECEIVER_KERNEL_INLINE inline
#endif

namespace receiver {

inline constexpr size_t kCountedWordsPerCheck = 16;

// Of two words a step, written out: the compiler would not unroll a loop this short.
template <size_t kWords>
RECEIVER_KERNEL_INLINE uint64_t DifferingBitsOf(const uint32_t* a, const uint32_t* b) {
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

// DifferingBits of hamming.h, for what remains of a comparison that has found `bits`.
RECEIVER_KERNEL_INLINE uint64_t CountDifferingBits(const uint32_t* a, const uint32_t* b,
                                                   size_t words, uint64_t limit, uint64_t bits) {
    while (words >= kCountedWordsPerCheck) {
        words -= kCountedWordsPerCheck;
        bits += DifferingBitsOf<kCountedWordsPerCheck>(a + words, b + words);
        if (bits > limit) return bits;
    }
    while (words > 0) {
        --words;
        bits += static_cast<uint64_t>(std::popcount(a[words] ^ b[words]));
    }
    return bits;
}

}  // namespace receiver
