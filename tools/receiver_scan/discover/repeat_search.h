// Finds what a long recording has in common with itself: all pairs of stretches that are alike.
// An index of half words gives places that may be the same, a few words around them decide, and
// what agrees is followed along its diagonal in both directions.
//
//   Units    words of 12.5 ms.
//   Threads  as many as asked for, all ended on return. The result does not depend on them.
//   Memory   about 20 bytes a word.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace receiver {

struct Repeat {
    uint32_t first = 0;   // where the earlier stretch begins
    uint32_t second = 0;  // where the later one does
    uint32_t words = 0;   // of either
    float ber = 0.0F;
    float clearShare = 0.0F;  // see stretch_likeness.h
};

// What is heard again sooner than this is a rhythm, not a repeat.
inline constexpr size_t kMinLagWords = 240;

// In the order of `first`, then of `second`. Nothing of what is silent (level below
// kSilentLevelDb) begins or ends one. `stop` may be empty; once it answers true, what was
// found so far is returned.
inline constexpr int kSilentLevelDb = -60;
std::vector<Repeat> FindRepeats(std::span<const uint32_t> words, std::span<const int8_t> levelsDb,
                                unsigned threads, const std::function<bool()>& stop = {});

}  // namespace receiver
