// Where the playings of one recording begin and end, to some milliseconds: by laying their sound
// over each other, which is the same up to the edge and nothing alike beyond it. A fingerprint's
// word hears 0.37 s and cannot tell so well, least of all where a recording dies away before
// something loud. Pure.
//
//   Units  seconds, of the sound of each playing's source.
#pragma once

#include <optional>
#include <vector>

#include "receiver_scan/discover/thin_audio.h"

namespace receiver {

struct Playing {
    const ThinAudio* sound = nullptr;
    double start = 0.0;  // known to 40 ms beside the others
};

struct SoundEdges {
    std::vector<double> starts;  // of each playing
    double seconds = 0.0;
};

// The playings, the clearest first, and their length as far as words tell it. Nothing when their
// sound is not alike: played at another speed, or through something that turns its phases.
std::optional<SoundEdges> FindSoundEdges(const std::vector<Playing>& playings, double seconds);

}  // namespace receiver
