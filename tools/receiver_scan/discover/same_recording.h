// The last doubt about something that is heard again: whether any two of its times are surely
// playings of one recording, or all are only alike as bars of songs are. Pure.
//
//   Units  words of 12.5 ms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace receiver {

// Whether there are two places at which the `length` words are the same recording
// (stretch_likeness.h), and what is around them is not: inside a song that is repeated as a
// whole, any part is the same. Each place has `length` words.
bool HasSurePair(std::span<const uint32_t> words, const std::vector<uint32_t>& places,
                 size_t length);

}  // namespace receiver
