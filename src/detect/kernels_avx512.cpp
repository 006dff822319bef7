// See kernels_avx2.cpp on the stack of Windows, which holds here for 64 bytes.
#include <immintrin.h>

#include <algorithm>

#include "detect/kernel_sets.h"

namespace receiver {
namespace {

// A real value beside each zero: the low four of eight, and the high four.
__attribute__((target("avx512f"))) void ApplyWindow(const int16_t* samples, const double* window,
                                                    size_t count, std::complex<double>* out) {
    constexpr __mmask8 kReal = 0x55;
    auto* values = reinterpret_cast<double*>(out);
    const __m512i low = _mm512_setr_epi64(0, 0, 1, 1, 2, 2, 3, 3);
    const __m512i high = _mm512_setr_epi64(4, 4, 5, 5, 6, 6, 7, 7);
    size_t i = 0;
    for (; count - i >= 8; i += 8) {
        const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples + i));
        const __m512d product = _mm512_mul_pd(_mm512_cvtepi32_pd(_mm256_cvtepi16_epi32(eight)),
                                              _mm512_loadu_pd(window + i));
        _mm512_storeu_pd(values + 2 * i, _mm512_maskz_permutexvar_pd(kReal, low, product));
        _mm512_storeu_pd(values + 2 * i + 8, _mm512_maskz_permutexvar_pd(kReal, high, product));
    }
    for (; i < count; ++i) out[i] = samples[i] * window[i];
}

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
    kernels.applyWindow = ApplyWindow;
    kernels.differingBits = DifferingBits;
    return kernels;
}

}  // namespace receiver
