// Words as a station would give them, made without audio.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "testing/audio_generator.h"

namespace receiver {

struct MadeWords {
    // Noise: no two words have anything in common.
    MadeWords(uint64_t seed, size_t count) : random(seed), words(count), levelsDb(count, -20) {
        Noise(0, count);
    }

    void Noise(size_t at, size_t count) {
        for (size_t i = at; i < at + count; ++i) words[i] = static_cast<uint32_t>(random.Next());
    }
    // With so many wrong bits in every other word.
    void Copy(size_t from, size_t to, size_t count, unsigned wrongBits) {
        for (size_t i = 0; i < count; ++i) {
            words[to + i] = words[from + i];
            for (unsigned bit = 0; bit < wrongBits && i % 2 == 0; ++bit) {
                words[to + i] ^= 1u << random.Below(32);
            }
        }
    }
    void Silence(size_t at, size_t count) {
        const auto begin = static_cast<std::ptrdiff_t>(at);
        const auto end = static_cast<std::ptrdiff_t>(at + count);
        std::fill(words.begin() + begin, words.begin() + end, 0u);
        std::fill(levelsDb.begin() + begin, levelsDb.begin() + end, int8_t{-100});
    }

    TestRandom random;
    std::vector<uint32_t> words;
    std::vector<int8_t> levelsDb;
};

}  // namespace receiver
