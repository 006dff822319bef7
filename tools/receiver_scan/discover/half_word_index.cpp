#include "receiver_scan/discover/half_word_index.h"

#include <algorithm>

namespace receiver {
namespace {

constexpr size_t kHalfWords = size_t{1} << 16;
// Times as often as by chance.
constexpr size_t kTooCommon = 24;
constexpr size_t kMinPlaces = 64;

}  // namespace

HalfWordIndex::HalfWordIndex(std::span<const uint32_t> words, const std::vector<bool>& skip,
                             unsigned half)
    : begin_(kHalfWords + 1, 0) {
    const auto isIndexed = [&](size_t i) {
        if (skip[i]) return false;
        return i == 0 || skip[i - 1] || HalfOf(words[i], half) != HalfOf(words[i - 1], half);
    };
    for (size_t i = 0; i < words.size(); ++i) {
        if (isIndexed(i)) ++begin_[HalfOf(words[i], half) + 1u];
    }
    for (size_t key = 0; key < kHalfWords; ++key) begin_[key + 1] += begin_[key];
    places_.resize(begin_.back());
    std::vector<uint32_t> next(begin_.begin(), begin_.end() - 1);
    for (size_t i = 0; i < words.size(); ++i) {
        if (isIndexed(i)) places_[next[HalfOf(words[i], half)]++] = static_cast<uint32_t>(i);
    }
    mostPlaces_ = std::max(kMinPlaces, kTooCommon * places_.size() / kHalfWords);
}

std::span<const uint32_t> HalfWordIndex::PlacesOf(uint16_t halfWord) const {
    const uint32_t begin = begin_[halfWord];
    const uint32_t end = begin_[halfWord + 1u];
    if (end - begin > mostPlaces_) return {};
    return std::span(places_).subspan(begin, end - begin);
}

}  // namespace receiver
