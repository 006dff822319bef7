// Where a reference came near and was not heard. Pure.
//
//   Units  sample: frames at 44100 Hz; word: of the source.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "receiver_scan/listen/bit_errors.h"
#include "receiver_scan/listen/cause.h"
#include "receiver_scan/source/heard_audio.h"
#include "receiver_scan/source/reference_audio.h"

namespace receiver {

inline constexpr double kNearBer = 0.35;

struct NearMiss {
    size_t word = 0;
    uint64_t sample = 0;
    double ber = 1.0;
    MissCause cause;
};

// What is to be seen of one reference in all of a source.
struct ReferenceView {
    std::vector<float> curve;        // the rate at each offset
    std::vector<NearMiss> misses;    // the nearest first
    std::optional<BestOffset> best;  // nothing when the source is shorter than the reference
};

// Of the minima below kNearBer the `most` lowest that lie at least the reference's length
// apart from each other and from the words at which it was heard. Where there is none and it
// was not heard, one at another speed, if it is there. The causes come with them. Throws
// std::runtime_error when the recording can no longer be read.
ReferenceView ViewReference(const HeardAudio& heard, const ScanReference& reference,
                            const std::vector<size_t>& heardAt, size_t most);

// The word that begins at this frame, or the first behind it.
size_t WordAtFrame(const HeardAudio& heard, uint64_t frame);

}  // namespace receiver
