#include "detect/kernel_counting.h"
#include "detect/kernel_sets.h"

namespace receiver {
namespace {

__attribute__((target("popcnt"))) uint64_t DifferingBits(const uint32_t* a, const uint32_t* b,
                                                         size_t words, uint64_t limit) {
    return CountDifferingBits(a, b, words, limit, 0);
}

}  // namespace

Kernels PopcntKernels() {
    Kernels kernels = PortableKernels();
    kernels.name = "popcnt";
    kernels.differingBits = DifferingBits;
    return kernels;
}

}  // namespace receiver
