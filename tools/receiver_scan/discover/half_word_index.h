// Where each half of a word occurs. Half words agree far more often than whole ones when a tenth
// of the bits differ, and are still rare enough to be followed up.
//
//   Threads  any number may look things up at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace receiver {

class HalfWordIndex final {
public:
    static constexpr unsigned kHalves = 2;

    // Of `words`, without those that `skip` marks, and without a half word that stands
    // still since the word before.
    HalfWordIndex(std::span<const uint32_t> words, const std::vector<bool>& skip, unsigned half);

    static uint16_t HalfOf(uint32_t word, unsigned half) {
        return static_cast<uint16_t>(half == 0 ? word : word >> 16);
    }
    // In ascending order. Nothing for a half word that is so common that it tells nothing.
    std::span<const uint32_t> PlacesOf(uint16_t halfWord) const;

private:
    std::vector<uint32_t> begin_;  // of each half word in places_, and one beyond
    std::vector<uint32_t> places_;
    size_t mostPlaces_ = 0;
};

}  // namespace receiver
