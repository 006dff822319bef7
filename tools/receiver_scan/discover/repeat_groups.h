// From pairs of like stretches to the things that are heard again and again: each with all its
// occurrences, and with the beginning and the end that most of them agree on.
//
//   Units    words of 12.5 ms; times in seconds after the first word's audio begins.
//   Threads  as many as asked for, all ended on return. The result does not depend on them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "receiver_scan/discover/repeat_search.h"

namespace receiver {

struct Occurrence {
    double start = 0.0;
    double ber = 0.0;  // against the clearest of the others
};

struct RepeatGroup {
    double seconds = 0.0;                 // as long as all are
    std::vector<Occurrence> occurrences;  // at least two, in their order
    size_t clearest = 0;                  // the one that differs least from the others

    double EndOf(size_t occurrence) const { return occurrences[occurrence].start + seconds; }
};

struct GroupingLimits {
    double shortest = 1.0;
    double longest = 60.0;
    unsigned threads = 1;
    std::function<bool()> stop;  // may be empty; true ends early with what there is
};

struct Groups {
    std::vector<RepeatGroup> repeated;  // within the limits
    std::vector<RepeatGroup> longer;    // songs and whole programmes
};

Groups GroupRepeats(std::span<const uint32_t> words, std::span<const int8_t> levelsDb,
                    std::vector<Repeat> repeats, const GroupingLimits& limits);

}  // namespace receiver
