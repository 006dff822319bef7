#include "detect/hamming.h"

#include "detect/kernels.h"

namespace receiver {

uint64_t DifferingBits(const uint32_t* a, const uint32_t* b, size_t words, uint64_t limit) {
    return FastestKernels().differingBits(a, b, words, limit);
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
