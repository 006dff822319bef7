// What the demo's radio station broadcasts: music, a start jingle, a programme of a voice that
// babbles and music, an end jingle, music. 44100 Hz, stereo, 16 bits; the same samples on every
// run.
#pragma once

#include "testing/broadcast.h"

namespace receiver {

inline constexpr int kStudioRate = 44100;
inline constexpr int kStudioChannels = 2;

// One round of the station's day.
Broadcast MakeStationsDay();

}  // namespace receiver
