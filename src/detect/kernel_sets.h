// What the kernels_*.cpp offer to the choice in kernels.cpp. Only a processor that has a
// set's instructions may run it.
#pragma once

#include "detect/kernels.h"

namespace receiver {

Kernels PortableKernels();
Kernels PopcntKernels();  // the portable ones but for the population count
Kernels Avx2Kernels();
Kernels Avx512Kernels();  // AVX-512F and VPOPCNTDQ but for the energies, which are as AVX2

}  // namespace receiver
