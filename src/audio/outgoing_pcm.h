// A stream's PCM on its way to the reader: samples and stretches of silence, in order.
// Silence takes no memory, however long it lasts. Private to audio/.
//
//   Units    frames of interleaved 16-bit PCM.
//   Threads  one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace receiver {

class OutgoingPcm final {
public:
    explicit OutgoingPcm(uint16_t channels = 1) : channels_(channels) {}

    void Append(const int16_t* samples, size_t frames);
    void AppendSilence(uint64_t frames);
    // Of what was appended last, which is not silence.
    void DropLast(size_t frames);
    // Moves at most so many frames to the end of `samples`; returns how many.
    size_t Take(size_t frames, std::vector<int16_t>& samples);
    uint64_t Frames() const { return frames_; }

private:
    struct Part {
        std::vector<int16_t> pcm;
        size_t taken = 0;      // samples of `pcm`
        uint64_t silence = 0;  // instead of `pcm`
    };

    uint16_t channels_;
    std::deque<Part> parts_;
    uint64_t frames_ = 0;
};

}  // namespace receiver
