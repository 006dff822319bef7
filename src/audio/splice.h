// Finds, in what a new connection delivers, the place where the audio that was heard before
// ends, to the sample. Pure: PCM in, place out. First by equality, which is all that MP3,
// Vorbis and FLAC need: their decoders give the same samples again a little after their
// start. Then by likeness (normalised cross-correlation), for decoders that make noise of
// their own, and for another coding of the same audio.
//
//   Units    frames.
//   Threads  any; nothing here has a state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace receiver {

// Interleaved 16-bit PCM; does not own it.
struct PcmView {
    const int16_t* samples = nullptr;
    size_t frames = 0;
    uint16_t channels = 1;
};

// What is looked for: the audio before frame `end` of the history. Good while it exists.
struct SplicePattern {
    PcmView history;
    size_t end = 0;
    size_t anchorEnd = 0;  // `end` without the constant tail: what can be recognised
    bool usable = false;   // there is enough before it that changes
    bool repeats = false;  // the same stands elsewhere in the history: a loop or a tone
    bool brief = false;    // too little history to know whether it repeats
};

SplicePattern MakeSplicePattern(const PcmView& history, size_t end, uint32_t rate);

struct Joint {
    size_t next = 0;     // the frame of the beginning that follows the pattern
    bool exact = false;  // equal up to there, and the place is beyond doubt
};

// For the beginning as far as it is in, the search starting at frame `from`: the place that
// equals the pattern, if it is beyond doubt. More of the beginning may still bring it.
std::optional<Joint> FindSureJoint(const SplicePattern& pattern, const PcmView& beginning,
                                   size_t from);

// For a beginning that is in as far as it reaches back. `expected` is where the clock has the
// next frame; of several places it decides, and none that lies too far from it is taken.
std::optional<Joint> FindJoint(const SplicePattern& pattern, const PcmView& beginning,
                               uint32_t rate, std::optional<int64_t> expected);

}  // namespace receiver
