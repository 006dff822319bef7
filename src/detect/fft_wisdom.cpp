#include "detect/fft_wisdom.h"

namespace receiver {
namespace {

constexpr const char* kTexts[] = {
#include "detect/wisdom/avx.inc"
    ,
#include "detect/wisdom/avx2.inc"
    ,
#include "detect/wisdom/sse2.inc"
};

}  // namespace

std::span<const char* const> FftWisdom() {
    return kTexts;
}

}  // namespace receiver
