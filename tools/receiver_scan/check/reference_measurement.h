// Everything that a check needs to know of one recording, measured in three readings of
// it, however long it is.
//
//   Threads  any, one at a time; takes FFTW's planner lock.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "receiver_scan/check/level_profile.h"

namespace receiver {

struct ReferenceMeasurement {
    std::string path;
    std::string failure;  // why it cannot be read; empty when it was
    double seconds = 0.0;
    std::vector<uint32_t> words;  // the detector's own
    // The same audio as a stream brings it in the worst case: half a step off the words' grid,
    // through the stream's resampler, with a little noise. One for each of `words` but perhaps
    // the last few.
    std::vector<uint32_t> streamedWords;
    LevelProfile levels;
};

// Never throws for what the file is; `failure` says it, also of one that is longer than
// `mostSeconds`, of which no more is read, and once `stop`, which may be empty, answers true.
ReferenceMeasurement MeasureReference(const std::string& path,
                                      std::optional<double> mostSeconds = {},
                                      const std::function<bool()>& stop = {});

}  // namespace receiver
