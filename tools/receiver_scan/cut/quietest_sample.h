// Where a stretch of audio is quietest. Pure.
#pragma once

#include <cstddef>
#include <vector>

namespace receiver {

// `levels` are the samples' magnitudes, summed over the channels. The sample around which
// `around` on either side sum up to the least; of equal ones the nearest to `wanted`, itself one
// of them. 0 for none.
size_t QuietestSample(const std::vector<double>& levels, size_t wanted, size_t around);

}  // namespace receiver
