#include "detect/reference_matcher.h"

#include <algorithm>
#include <utility>

#include "detect/hamming.h"

namespace receiver {
namespace {

constexpr int32_t kRefinementWords = 6;
constexpr uint64_t kBitsPerWord = 32;

// The first word of a recording depends on nothing before it, that of the same
// place in a stream does: it is not compared.
uint64_t ComparedBits(size_t words) {
    return (words - 1) * kBitsPerWord;
}

}  // namespace

ReferenceMatcher::ReferenceMatcher(std::vector<ReferenceFingerprint> references, double threshold,
                                   std::function<void(const DetectorMatch&)> report)
    : report_(std::move(report)) {
    searches_.reserve(references.size());
    for (ReferenceFingerprint& reference : references) {
        longest_ = std::max(longest_, reference.words.size());
        Search search;
        search.passingBits = PassingBits(ComparedBits(reference.words.size()), threshold);
        search.words = std::move(reference.words);
        search.pending.referenceIndex = searches_.size();
        searches_.push_back(std::move(search));
    }
    liveWords_.resize(2 * longest_);
    livePositions_.resize(2 * longest_);
}

void ReferenceMatcher::Push(uint32_t word, uint64_t sourceSample, uint64_t observedAfterSample) {
    Append(word, sourceSample);
    for (Search& search : searches_) Match(search, observedAfterSample);
}

void ReferenceMatcher::Flush(uint64_t observedAfterSample) {
    for (Search& search : searches_) {
        if (search.armed) Report(search, observedAfterSample);
    }
}

void ReferenceMatcher::Reset() {
    liveBegin_ = 0;
    liveEnd_ = 0;
    for (Search& search : searches_) search.armed = false;
}

void ReferenceMatcher::Append(uint32_t word, uint64_t sourceSample) {
    if (liveEnd_ - liveBegin_ == longest_) ++liveBegin_;
    if (liveEnd_ == liveWords_.size()) {
        std::copy(liveWords_.begin() + liveBegin_, liveWords_.end(), liveWords_.begin());
        std::copy(livePositions_.begin() + liveBegin_, livePositions_.end(),
                  livePositions_.begin());
        liveEnd_ -= liveBegin_;
        liveBegin_ = 0;
    }
    liveWords_[liveEnd_] = word;
    livePositions_[liveEnd_] = sourceSample;
    ++liveEnd_;
}

void ReferenceMatcher::Match(Search& search, uint64_t observedAfterSample) {
    if (liveEnd_ - liveBegin_ < search.words.size()) return;
    Compare(search);
    if (search.armed && --search.countdown < 1) Report(search, observedAfterSample);
}

void ReferenceMatcher::Compare(Search& search) {
    // While armed only a strictly lower rate counts, and none is lower than 0.
    if (search.armed && search.pendingBits == 0) return;
    const uint64_t limit = search.armed ? search.pendingBits - 1 : search.passingBits;
    const size_t words = search.words.size();
    const size_t first = liveEnd_ - words;
    const uint64_t bits =
        DifferingBits(search.words.data() + 1, liveWords_.data() + first + 1, words - 1, limit);
    if (bits > limit) return;
    if (!search.armed) {
        search.armed = true;
        search.countdown = kRefinementWords;
    }
    search.pendingBits = bits;
    search.pending.sample = livePositions_[first];
    search.pending.ber = static_cast<double>(bits) / static_cast<double>(ComparedBits(words));
}

void ReferenceMatcher::Report(Search& search, uint64_t observedAfterSample) {
    search.armed = false;
    search.pending.observedAfterSample = observedAfterSample;
    report_(search.pending);
}

}  // namespace receiver
