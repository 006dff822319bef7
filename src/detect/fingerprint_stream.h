// The fingerprint of audio as it comes: frame after frame, each on the very sample that
// completes it. Of the audio no more is held than two windows, however long it lasts.
//
//   Units    mono samples at the rate of SetUp; a frame is WindowLength() of them.
//   Threads  one at a time. SetUp and the destructor take the planner lock (fft.h).
//   Use      either Feed and, whenever a frame is complete, Word and Advance; or
//            AppendWords, which does that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "detect/audio_fingerprinter.h"

namespace receiver {

class FingerprintStream final {
public:
    // Starts a stream at sample 0. The rate as CAudioFingerprinter takes it.
    void SetUp(int32_t sampleRate = kAnalysisRate);

    // Takes samples up to the one that completes the next frame, and only one while a
    // complete frame is still due. Returns how many, at least 1 of `count` > 0.
    size_t Feed(const int16_t* samples, size_t count);
    bool IsFrameComplete() const { return sampleCount_ >= FrameEnd(); }
    // False when samples beyond the due frame were fed: its first ones may be gone.
    bool IsFrameWhole() const { return sampleCount_ <= FrameEnd(); }
    uint64_t FrameStart() const { return static_cast<uint64_t>(clock_.StartSample()); }
    // Of the due frame; what was not fed of it counts as silence. Once for each frame.
    uint32_t Word();
    void Advance() { clock_.Advance(); }

    // Feeds all samples and appends the word of each frame that they complete. False as soon
    // as stopRequested (may be empty; asked before each word) answers true.
    bool AppendWords(const int16_t* samples, size_t count, std::vector<uint32_t>& words,
                     const std::function<bool()>& stopRequested = {});
    // After the last samples: appends the words of the frames that start within what was
    // fed, padded with silence.
    void AppendPaddedWords(std::vector<uint32_t>& words);

    uint64_t SampleCount() const { return sampleCount_; }  // fed so far
    size_t HeldSamples() const { return heldSize_; }
    uint32_t WindowLength() const { return fingerprinter_.WindowLength(); }

private:
    uint64_t FrameEnd() const { return FrameStart() + WindowLength(); }
    void Hold(const int16_t* samples, size_t count);

    CAudioFingerprinter fingerprinter_;
    FrameClock clock_;
    int32_t sampleRate_ = 0;
    // The newest samples, contiguous: at least a window of them, in room for two, moved to
    // the front when that is full. The first is sample sampleCount_ - heldSize_.
    std::vector<int16_t> held_;
    size_t heldSize_ = 0;
    uint64_t sampleCount_ = 0;
};

}  // namespace receiver
