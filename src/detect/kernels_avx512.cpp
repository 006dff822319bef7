// See kernels_avx2.cpp on the stack of Windows, which holds here for 64 bytes.
#include <immintrin.h>

#include <algorithm>

#include "detect/kernel_sets.h"

namespace receiver {
namespace {

constexpr size_t kVectorWords = 16;
constexpr size_t kWordsPerCheck = 64;

// The vector that ends at `words`, or what there is of it: an incomplete one is the first
// of the words, and lanes beyond it are not read.
__attribute__((target("avx512f,avx512vpopcntdq"))) uint64_t DifferingBits(const uint32_t* a,
                                                                          const uint32_t* b,
                                                                          size_t words,
                                                                          uint64_t limit) {
    uint64_t bits = 0;
    while (words > 0) {
        __m512i counts = _mm512_setzero_si512();
        const size_t end = words - std::min(words, kWordsPerCheck);
        while (words > end) {
            const size_t lanes = std::min(words, kVectorWords);
            words -= lanes;
            const auto mask = static_cast<__mmask16>((1u << lanes) - 1);
            const __m512i differing = _mm512_xor_si512(_mm512_maskz_loadu_epi32(mask, a + words),
                                                       _mm512_maskz_loadu_epi32(mask, b + words));
            counts = _mm512_add_epi32(counts, _mm512_popcnt_epi32(differing));
        }
        bits += static_cast<uint64_t>(_mm512_reduce_add_epi32(counts));
        if (bits > limit) return bits;
    }
    return bits;
}

}  // namespace

Kernels Avx512Kernels() {
    Kernels kernels = Avx2Kernels();
    kernels.name = "avx512";
    kernels.differingBits = DifferingBits;
    return kernels;
}

}  // namespace receiver
