// A source as the receiver's detector hears it: the same decoding, mixing, resampling and
// fingerprinting, and so the same words, at the same places. Only that the words of a long
// source are computed on all cores.
//
//   Units    frames are of the source, at 44100 Hz.
//   Threads  one calls; the callbacks run on it. Others compute words meanwhile.
//   Memory   what is returned, 32 bytes for each 12.5 ms, and a few pieces of audio.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <vector>

#include "audio/audio_file.h"

namespace receiver {

enum class HearingEnd {
    kSourceEnded,
    kSourceFailed,
    kStopped,  // as long as was asked for, or the caller wanted to stop
};

// How loud the mono mix is from the start of one word to that of the next; both 0..1.
struct WordLevel {
    float peak = 0.0f;
    float rms = 0.0f;
};

struct HeardAudio {
    uint64_t frames = 0;  // heard in all
    uint16_t channels = 0;
    HearingEnd end = HearingEnd::kSourceEnded;
    // One for each 12.5 ms. All lists are equally long.
    std::vector<uint32_t> words;
    std::vector<uint64_t> frameAt;        // where the word's audio begins
    std::vector<uint64_t> observedAfter;  // frames that had been read when it was complete
    std::vector<WordLevel> levels;
};

struct HearingOptions {
    uint64_t maxFrames = std::numeric_limits<uint64_t>::max();
    unsigned threads = 0;      // 0: one for each core
    size_t pieceWords = 2000;  // that one thread computes in a go
    // Each may be empty; called after every read.
    std::function<void(std::span<const int16_t> samples)> onMono;  // the mix, at kAnalysisRate
    std::function<void(uint64_t framesHeard)> onProgress;
    std::function<bool()> stopRequested;
};

// The file is open and delivers 16-bit PCM at 44100 Hz, as OpenSource opens it. Throws
// SourceError when the audio cannot be analysed.
HeardAudio Hear(CAudioFile& file, const HearingOptions& options = {});

}  // namespace receiver
