#include "detect/fingerprint_stream.h"

#include <algorithm>

namespace receiver {

void FingerprintStream::SetUp(int32_t sampleRate) {
    fingerprinter_.SetUp(sampleRate, kFrameSeconds, kHopSeconds);
    clock_ = FrameClock(sampleRate);
    sampleRate_ = sampleRate;
    held_.resize(2 * static_cast<size_t>(fingerprinter_.WindowLength()));
    heldSize_ = 0;
    sampleCount_ = 0;
}

size_t FingerprintStream::Feed(const int16_t* samples, size_t count) {
    const uint64_t end = FrameEnd();
    const uint64_t missing = end > sampleCount_ ? end - sampleCount_ : 1;
    const auto taken = static_cast<size_t>(std::min<uint64_t>(missing, count));
    Hold(samples, taken);
    return taken;
}

// `count` is at most the window, since the next frame is never further away.
void FingerprintStream::Hold(const int16_t* samples, size_t count) {
    const size_t window = fingerprinter_.WindowLength();
    if (heldSize_ + count > held_.size()) {
        std::copy_n(held_.begin() + (heldSize_ - window), window, held_.begin());
        heldSize_ = window;
    }
    std::copy_n(samples, count, held_.begin() + heldSize_);
    heldSize_ += count;
    sampleCount_ += count;
}

uint32_t FingerprintStream::Word() {
    const auto fromStart = static_cast<int64_t>(sampleCount_ - FrameStart());
    const int64_t fed = std::min<int64_t>(fromStart, WindowLength());
    const int16_t* start = held_.data() + heldSize_ - fromStart;
    return fingerprinter_.ComputeWord(start, fed, 0);
}

bool FingerprintStream::AppendWords(const int16_t* samples, size_t count,
                                    std::vector<uint32_t>& words,
                                    const std::function<bool()>& stopRequested) {
    while (count > 0) {
        const size_t taken = Feed(samples, count);
        samples += taken;
        count -= taken;
        if (!IsFrameComplete()) continue;
        if (stopRequested && stopRequested()) return false;
        words.push_back(Word());
        Advance();
    }
    return true;
}

void FingerprintStream::AppendPaddedWords(std::vector<uint32_t>& words) {
    const double duration = static_cast<double>(sampleCount_) / sampleRate_;
    for (; clock_.Seconds() < duration; Advance()) words.push_back(Word());
}

}  // namespace receiver
