// Windows keeps a thread's stack at multiples of 16 bytes, and GCC, unless patched by its
// packager, spills 32-byte registers there with instructions that want 32: a crash by chance.
// Loads and stores in this file are unaligned, no such value is passed or kept in an array,
// and for Windows the assembler turns the compiler's own aligned moves into unaligned ones
// (CMakeLists.txt), which cost the same.
#include <immintrin.h>

#include "detect/kernel_counting.h"
#include "detect/kernel_sets.h"

#define RECEIVER_AVX2 __attribute__((target("avx2,popcnt")))

namespace receiver {
namespace {

RECEIVER_AVX2 void ApplyWindow(const int16_t* samples, const double* window, size_t count,
                               std::complex<double>* out) {
    auto* values = reinterpret_cast<double*>(out);
    const __m256d zero = _mm256_setzero_pd();
    size_t i = 0;
    for (; count - i >= 4; i += 4) {
        const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(samples + i));
        const __m256d converted = _mm256_cvtepi32_pd(_mm_cvtepi16_epi32(four));
        const __m256d product = _mm256_mul_pd(converted, _mm256_loadu_pd(window + i));
        const __m256d even = _mm256_unpacklo_pd(product, zero);  // 0 and 2
        const __m256d odd = _mm256_unpackhi_pd(product, zero);   // 1 and 3
        _mm256_storeu_pd(values + 2 * i, _mm256_permute2f128_pd(even, odd, 0x20));
        _mm256_storeu_pd(values + 2 * i + 4, _mm256_permute2f128_pd(even, odd, 0x31));
    }
    for (; i < count; ++i) out[i] = samples[i] * window[i];
}

RECEIVER_AVX2 double BandEnergy(const std::complex<double>* bins, size_t count) {
    const auto* values = reinterpret_cast<const double*>(bins);
    __m256d sums = _mm256_setzero_pd();  // of the bins 0, 2, 1, 3 of each four
    size_t i = 0;
    for (; count - i >= 4; i += 4) {
        const __m256d low = _mm256_loadu_pd(values + 2 * i);
        const __m256d high = _mm256_loadu_pd(values + 2 * i + 4);
        const __m256d energies = _mm256_hadd_pd(_mm256_mul_pd(low, low), _mm256_mul_pd(high, high));
        sums = _mm256_add_pd(sums, energies);
    }
    const __m128d pairs = _mm_add_pd(_mm256_castpd256_pd128(sums), _mm256_extractf128_pd(sums, 1));
    double total = _mm_cvtsd_f64(pairs) + _mm_cvtsd_f64(_mm_unpackhi_pd(pairs, pairs));
    for (; i < count; ++i) {
        const double re = values[2 * i];
        const double im = values[2 * i + 1];
        total += re * re + im * im;
    }
    return total;
}

constexpr size_t kVectorWords = 8;
constexpr size_t kWordsPerCheck = 64;
// Eight vectors give a byte at most 64 bits.
static_assert(kWordsPerCheck / kVectorWords * 8 <= 255);

// Each byte's bits by two look-ups of four.
RECEIVER_AVX2 uint64_t DifferingBits(const uint32_t* a, const uint32_t* b, size_t words,
                                     uint64_t limit) {
    const __m256i table =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4));
    const __m256i lowHalves = _mm256_set1_epi8(0x0F);
    uint64_t bits = 0;
    while (words >= kWordsPerCheck) {
        words -= kWordsPerCheck;
        __m256i counts = _mm256_setzero_si256();
        for (size_t at = words; at < words + kWordsPerCheck; at += kVectorWords) {
            const __m256i differing =
                _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + at)),
                                 _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + at)));
            const __m256i low = _mm256_and_si256(differing, lowHalves);
            const __m256i high = _mm256_and_si256(_mm256_srli_epi16(differing, 4), lowHalves);
            counts = _mm256_add_epi8(counts, _mm256_add_epi8(_mm256_shuffle_epi8(table, low),
                                                             _mm256_shuffle_epi8(table, high)));
        }
        const __m256i sums = _mm256_sad_epu8(counts, _mm256_setzero_si256());
        const __m128i halves =
            _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
        bits += static_cast<uint64_t>(_mm_cvtsi128_si64(halves)) +
                static_cast<uint64_t>(_mm_extract_epi64(halves, 1));
        if (bits > limit) return bits;
    }
    return CountDifferingBits(a, b, words, limit, bits);
}

}  // namespace

Kernels Avx2Kernels() {
    return {"avx2", ApplyWindow, BandEnergy, DifferingBits};
}

}  // namespace receiver
