// How much something that is heard again and again is like a jingle: short, often, at regular
// times, and not only within one song. Pure.
//
//   Units  seconds.
#pragma once

#include <vector>

#include "receiver_scan/discover/repeat_groups.h"

namespace receiver {

double JingleLikeness(const RepeatGroup& group);  // 0..1

// How much the times keep to the same minutes of the hour, or of its half or quarter: 0 for
// chance, 1 for the very same second.
double Regularity(const std::vector<double>& times);

// The most jingle-like first.
void SortByJingleLikeness(std::vector<RepeatGroup>& groups);

}  // namespace receiver
