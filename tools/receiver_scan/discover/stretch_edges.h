// Where a repeated stretch really begins and ends: by following pairs of its occurrences outward
// and believing what most of them say. Pure.
//
//   Units  words of 12.5 ms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace receiver {

// Words after the place of each occurrence; the last one is no longer part of it.
struct StretchEdges {
    int64_t begin = 0;
    int64_t end = 0;
};

// `places` are where the stretch, of `length` words, is thought to begin, the clearest first; at
// least two.
StretchEdges FindEdges(std::span<const uint32_t> words, const std::vector<uint32_t>& places,
                       size_t length);

}  // namespace receiver
