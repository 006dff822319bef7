// Fingerprint words for tests of the population count, and their differing bits one by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "testing/audio_generator.h"

namespace receiver {

inline std::vector<uint32_t> RandomWords(TestRandom& random, size_t count) {
    std::vector<uint32_t> words(count);
    for (uint32_t& word : words) word = static_cast<uint32_t>(random.Next());
    return words;
}

inline uint64_t CountBitByBit(const std::vector<uint32_t>& a, const std::vector<uint32_t>& b) {
    uint64_t bits = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        for (int bit = 0; bit < 32; ++bit) bits += ((a[i] ^ b[i]) >> bit) & 1u;
    }
    return bits;
}

}  // namespace receiver
