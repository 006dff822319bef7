// References held against themselves and each other, by the detector's own measure. Pure.
//
//   Units   words of 12.5 ms; a bit error rate of 0 is the same, 0.5 is unlike.
//   First   the first word of a recording depends on nothing before it: like the detector,
//           these do not compare it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

namespace receiver {

inline constexpr double kWordSeconds = 0.0125;

// The rate at which the whole reference differs from `there`, as many words from somewhere else.
double BitErrorRate(std::span<const uint32_t> reference, std::span<const uint32_t> there);

struct Likeness {
    double ber = 1.0;
    size_t word = 0;  // where: the shift, or where the shorter begins in the longer
};

// The reference against itself, later by `word` words, as the detector would meet it: what the
// shift leaves without a counterpart counts as unlike. The best of all shifts that are beyond
// the nearest ones, which are alike in any recording. Nothing when it never becomes unlike
// itself: it hardly changes.
std::optional<Likeness> BestShiftedSelf(std::span<const uint32_t> words);

// The best place of the shorter one within the longer one. Both have at least two words.
Likeness BestPlaceWithin(std::span<const uint32_t> shorter, std::span<const uint32_t> longer,
                         const std::function<bool()>& stop = {});

}  // namespace receiver
