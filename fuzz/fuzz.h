// What every fuzz target shares: libFuzzer's entry point, and a check that ends the
// program in any kind of build.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace receiver {

inline void Expect(bool holds) {
    if (!holds) std::abort();
}

}  // namespace receiver
