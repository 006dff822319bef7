// The few loops that listening spends its time in, written once for any machine and again
// for instructions that not every processor has. Which of them run is decided here, at run
// time, and nowhere else. All sets give the same bits.
//
//   Threads  any number at a time; no state.
//   Errors   none.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>

namespace receiver {

struct Kernels {
    const char* name;

    // out[i] = samples[i] * window[i] + 0i; alignment is free.
    void (*applyWindow)(const int16_t* samples, const double* window, size_t count,
                        std::complex<double>* out);

    // The sum of re² + im² in this order: four running sums, of the bins 0, 4, 8, ..., of
    // 1, 5, 9, ... and so on, over the whole fours; (sum0 + sum1) + (sum2 + sum3); and onto
    // that the up to three bins that are left, one by one. No multiplication is fused with an
    // addition.
    double (*bandEnergy)(const std::complex<double>* bins, size_t count);

    // The contract of DifferingBits in hamming.h.
    uint64_t (*differingBits)(const uint32_t* a, const uint32_t* b, size_t words, uint64_t limit);
};

// The sets that this processor can run: the portable one first, the fastest last.
std::span<const Kernels> AvailableKernels();

const Kernels& FastestKernels();

}  // namespace receiver
