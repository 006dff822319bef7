// All places in hours of words that are like one stretch of them. Pure but for its threads.
//
//   Units    words of 12.5 ms.
//   Threads  as many as asked for, all ended on return. The result does not depend on them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace receiver {

struct Place {
    uint32_t word = 0;  // where the stretch begins
    float ber = 1.0F;
};

// Those that are another playing of it (stretch_likeness.h), in their order, none overlapping
// another by more than half. The stretch has at least kMinStretchWords.
inline constexpr size_t kMinStretchWords = 40;
std::vector<Place> FindPlaces(std::span<const uint32_t> stretch, std::span<const uint32_t> words,
                              unsigned threads);

}  // namespace receiver
