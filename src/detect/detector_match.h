// What the detector tells of a reference that it has found.
#pragma once

#include <cstdint>

namespace receiver {

// A reference is heard where at most this share of its bits differs.
inline constexpr double kBerThreshold = 0.14;

struct DetectorMatch {
    uint64_t referenceIndex = 0;       // in the list given at construction
    uint64_t sample = 0;               // source frame at which the reference begins
    uint64_t observedAfterSample = 0;  // source frames that had passed when it was reported
    double ber = 1.0;                  // the lowest bit error rate seen
};

}  // namespace receiver
