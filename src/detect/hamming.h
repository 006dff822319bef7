// Differing bits of two word sequences, by the population count that the processor is best at
// (kernels.h).
#pragma once

#include <cstddef>
#include <cstdint>

namespace receiver {

// Counts from the last word to the first. The exact count when it is at most
// `limit`; otherwise some count above `limit`, without reading further than needed.
uint64_t DifferingBits(const uint32_t* a, const uint32_t* b, size_t words, uint64_t limit);

// The largest number of differing bits of `totalBits` whose quotient, in double
// precision, is at or below the threshold (0..1).
uint64_t PassingBits(uint64_t totalBits, double threshold);

}  // namespace receiver
