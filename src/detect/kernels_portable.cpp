#include "detect/kernel_counting.h"
#include "detect/kernel_sets.h"

namespace receiver {
namespace {

double Energy(const std::complex<double>& bin) {
    return bin.real() * bin.real() + bin.imag() * bin.imag();
}

void ApplyWindow(const int16_t* samples, const double* window, size_t count,
                 std::complex<double>* out) {
    for (size_t i = 0; i < count; ++i) out[i] = samples[i] * window[i];
}

double BandEnergy(const std::complex<double>* bins, size_t count) {
    double sum0 = 0.0;
    double sum1 = 0.0;
    double sum2 = 0.0;
    double sum3 = 0.0;
    size_t i = 0;
    for (; count - i >= 4; i += 4) {
        sum0 += Energy(bins[i]);
        sum1 += Energy(bins[i + 1]);
        sum2 += Energy(bins[i + 2]);
        sum3 += Energy(bins[i + 3]);
    }
    double total = (sum0 + sum1) + (sum2 + sum3);
    for (; i < count; ++i) total += Energy(bins[i]);
    return total;
}

uint64_t DifferingBits(const uint32_t* a, const uint32_t* b, size_t words, uint64_t limit) {
    return CountDifferingBits(a, b, words, limit, 0);
}

}  // namespace

Kernels PortableKernels() {
    return {"portable", ApplyWindow, BandEnergy, DifferingBits};
}

}  // namespace receiver
