#include "detect/kernels.h"

#include <vector>

#include "detect/kernel_sets.h"

namespace receiver {
namespace {

std::vector<Kernels> FindAvailable() {
    std::vector<Kernels> sets = {PortableKernels()};
#ifdef RECEIVER_X86_64_KERNELS
    // GCC's and clang's look at the processor, which also asks whether the operating system
    // keeps the wide registers.
    if (!__builtin_cpu_supports("popcnt")) return sets;
    sets.push_back(PopcntKernels());
    if (!__builtin_cpu_supports("avx2")) return sets;
    sets.push_back(Avx2Kernels());
    if (!__builtin_cpu_supports("avx512f") || !__builtin_cpu_supports("avx512vpopcntdq")) {
        return sets;
    }
    sets.push_back(Avx512Kernels());
#endif
    return sets;
}

}  // namespace

std::span<const Kernels> AvailableKernels() {
    static const std::vector<Kernels> sets = FindAvailable();
    return sets;
}

const Kernels& FastestKernels() {
    return AvailableKernels().back();
}

}  // namespace receiver
