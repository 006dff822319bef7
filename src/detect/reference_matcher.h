// Compares the newest words of a stream with every reference, and reports where
// one began: five words after the first word at or below the threshold, with the
// best position of those six.
//
//   Units    positions are source frames.
//   Threads  one at a time; the callback runs inside Push and Flush.
//   Speed    the live words lie contiguous; a comparison takes 64 bits a step and
//            stops once it can neither pass the threshold nor better the pending
//            candidate. Its decision is always that of the full bit error rate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "detect/detector_match.h"
#include "detect/reference_loading.h"

namespace receiver {

class ReferenceMatcher final {
public:
    // References have at least 16 words each and the threshold is within 0..1
    // (checked by the detector). report gets matches whose observedAfterSample is
    // what was passed in with the word.
    ReferenceMatcher(std::vector<ReferenceFingerprint> references, double threshold,
                     std::function<void(const DetectorMatch&)> report);

    // One new live word, whose frame starts at source frame `sourceSample`.
    void Push(uint32_t word, uint64_t sourceSample, uint64_t observedAfterSample);
    // The stream has ended: reports every pending candidate now, in list order.
    void Flush(uint64_t observedAfterSample);
    void Reset();  // forgets the live words and all candidates

private:
    struct Search {
        std::vector<uint32_t> words;
        uint64_t passingBits = 0;  // most differing bits whose rate is within the threshold
        // The rest is valid while armed, `pending.referenceIndex` always.
        bool armed = false;
        int32_t countdown = 0;  // words until the report
        uint64_t pendingBits = 0;
        DetectorMatch pending;
    };

    void Append(uint32_t word, uint64_t sourceSample);
    void Match(Search& search, uint64_t observedAfterSample);
    void Compare(Search& search);
    void Report(Search& search, uint64_t observedAfterSample);

    const std::function<void(const DetectorMatch&)> report_;
    std::vector<Search> searches_;
    size_t longest_ = 0;  // words
    // The newest words and their positions, in a buffer of twice the length that is
    // moved to its front when full, so that they always lie in one piece.
    std::vector<uint32_t> liveWords_;
    std::vector<uint64_t> livePositions_;
    size_t liveBegin_ = 0;
    size_t liveEnd_ = 0;
};

}  // namespace receiver
