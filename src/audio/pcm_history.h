// The newest part of a stream's PCM, for comparison with what comes again.
//
//   Units    frames of interleaved 16-bit PCM.
//   Threads  one at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "audio/splice.h"

namespace receiver {

class PcmHistory final {
public:
    PcmHistory() = default;
    PcmHistory(uint16_t channels, size_t maxFrames) : channels_(channels), maxFrames_(maxFrames) {}

    void Append(const int16_t* samples, size_t frames) {
        samples_.insert(samples_.end(), samples, samples + frames * channels_);
        // Seldom, so that what stays is not moved again and again.
        if (Frames() > maxFrames_ + maxFrames_ / 2) DropFirst(Frames() - maxFrames_);
    }
    void DropFirst(size_t frames) {
        samples_.erase(samples_.begin(), samples_.begin() + Offset(std::min(frames, Frames())));
    }
    void DropLast(size_t frames) { samples_.resize(samples_.size() - frames * channels_); }
    void Clear() { samples_.clear(); }

    size_t Frames() const { return samples_.size() / channels_; }
    // Good until the next change.
    PcmView View() const { return {samples_.data(), Frames(), channels_}; }

private:
    std::ptrdiff_t Offset(size_t frames) const {
        return static_cast<std::ptrdiff_t>(frames * channels_);
    }

    uint16_t channels_ = 1;
    size_t maxFrames_ = 0;
    std::vector<int16_t> samples_;
};

}  // namespace receiver
