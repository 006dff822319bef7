// The ends of a recording in the stream, to the sample, near where the detector has heard it.
// Pure.
//
//   Units  samples are frames of the stream.
#pragma once

#include <cstdint>

#include "receiver_record/cut/held_audio.h"
#include "receiver_record/cut/jingle_sound.h"

namespace receiver {

// How far from the detector's figure the true one is looked for: its grid is 12.5 ms, and a
// recording that is not heard well may lie a few steps off.
inline constexpr uint64_t kSearchFrames = uint64_t{kJingleRate} * 3 / 100;

struct JinglePlace {
    uint64_t sample = 0;
    bool exact = false;  // else it is the detector's
};

// Where the recording begins that the detector has heard at `detected`. The audio around its
// beginning is held up to BeginNeeds.
JinglePlace BeginOf(const JingleSound& jingle, uint64_t detected, const HeldAudio& audio);
uint64_t BeginNeeds(const JingleSound& jingle, uint64_t detected);
// The sample after its last one; likewise.
JinglePlace EndOf(const JingleSound& jingle, uint64_t detected, const HeldAudio& audio);
uint64_t EndNeeds(const JingleSound& jingle, uint64_t detected);

}  // namespace receiver
