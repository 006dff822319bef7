// How much two stretches of words are alike. Two playings of one recording agree nearly entirely
// wherever nothing lies over them; two bars of one song differ a little everywhere. So beside
// the share of differing bits the share of words that agree tells them apart. Pure.
//
//   Units  words of 12.5 ms.
#pragma once

#include <cstddef>
#include <cstdint>

namespace receiver {

struct StretchLikeness {
    double ber = 1.0;
    double clearShare = 0.0;  // of the words, those in which at most a tenth of the bits differ
};

StretchLikeness CompareStretches(const uint32_t* a, const uint32_t* b, size_t words);

// Enough to believe that a recording is heard again, with no other evidence.
bool IsSameRecording(const StretchLikeness& likeness, size_t words);
// Enough where the recording is known to be one that is heard again.
bool IsAnotherPlaying(const StretchLikeness& likeness, size_t words);
// The highest error rate that IsAnotherPlaying accepts.
double MaxPlayingBer(size_t words);

}  // namespace receiver
