// What a listener gets who tunes in to an encoded broadcast while it is running.
#pragma once

#include <cstddef>
#include <string>

#include "testing/audio_encoder.h"

namespace receiver {

struct TunedIn {
    std::string bytes;    // the headers that the coding needs, and all from the boundary on
    size_t boundary = 0;  // where in the whole broadcast that is
    size_t frame = 0;     // MP3 and AAC: how many coded frames lie before it
};

// From the first boundary (a coded frame, or a page of Ogg) at or after `position` on. Throws
// std::invalid_argument for codings that have no such boundaries, and when none is left.
TunedIn TuneIn(const std::string& broadcast, AudioCoding coding, size_t position);

}  // namespace receiver
