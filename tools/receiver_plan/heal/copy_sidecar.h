// What receiver-record has told of a recording beside it, as far as it tells what is lacking. Pure.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "receiver_plan/heal/healing.h"

namespace receiver {

// In order and apart from each other, in frames of the file, of which there are so many. Throws
// std::invalid_argument when the text is no such record.
std::vector<FrameRange> LackingFrames(std::string_view sidecar, uint64_t frames);

}  // namespace receiver
