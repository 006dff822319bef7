// Plans for the fingerprint's transform, found once by measuring (scripts/make-wisdom) and
// kept as FFTW's wisdom: one text for each set of codelets that the FFTW of a platform
// chooses by: SSE2 (any), SSE2 and AVX (Debian's), SSE2 and AVX2 (ours for Windows). FFTW
// accepts the text that was made with its own version and codelets, and no other.
#pragma once

#include <span>

namespace receiver {

std::span<const char* const> FftWisdom();

}  // namespace receiver
