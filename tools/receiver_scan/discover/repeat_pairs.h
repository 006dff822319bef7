// Pairs of like stretches on the way to groups: pieces of one put together and
// the order in which they are believed. Pure.
//
//   Units  words of 12.5 ms.
#pragma once

#include <cstddef>
#include <vector>

#include "receiver_scan/discover/repeat_search.h"

namespace receiver {

// Joins pieces that lie one after the other on a diagonal: a voice was over what is between.
std::vector<Repeat> JoinPieces(std::vector<Repeat> repeats);

// First the longer ones than `longest`, by length; then the others by how many agree with them
// on where a stretch begins and ends, and by length.
void SortByCredibility(std::vector<Repeat>& repeats, size_t longest);

}  // namespace receiver
