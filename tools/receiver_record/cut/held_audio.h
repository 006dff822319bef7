// The part of a stream's PCM that may still be needed, found by its place in the stream.
//
//   Units    samples are frames of the stream; PCM is interleaved 16-bit.
//   Threads  one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace receiver {

class HeldAudio final {
public:
    HeldAudio(uint64_t firstSample, unsigned channels) : first_(firstSample), channels_(channels) {}

    uint64_t End() const { return first_ + Frames(); }
    size_t Bytes() const { return (pcm_.size() - dropped_) * sizeof(int16_t); }

    void Append(std::span<const int16_t> pcm) { pcm_.insert(pcm_.end(), pcm.begin(), pcm.end()); }
    void DropBefore(uint64_t sample);
    // From `sample` to `end`, which are held. Good until the next change.
    std::span<const int16_t> Between(uint64_t sample, uint64_t end) const;
    // In mono; silence where nothing is held. `sample` may lie before the stream.
    std::vector<float> MonoAt(int64_t sample, size_t frames) const;

private:
    uint64_t Frames() const { return (pcm_.size() - dropped_) / channels_; }

    uint64_t first_;  // the oldest held
    const unsigned channels_;
    std::vector<int16_t> pcm_;
    size_t dropped_ = 0;  // values at its front
};

}  // namespace receiver
