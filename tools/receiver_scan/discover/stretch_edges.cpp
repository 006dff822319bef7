#include "receiver_scan/discover/stretch_edges.h"

#include <algorithm>
#include <bit>

namespace receiver {
namespace {

constexpr size_t kMostPlaces = 10;
constexpr int64_t kMaxOutward = 240;
constexpr int kFairBits = 11;
constexpr int kMaxLoss = 420;

using Words = std::span<const uint32_t>;

// The word before `from` (step -1) or from it on (step 1) at which most has been earned.
int64_t Follow(Words words, int64_t a, int64_t b, int64_t from, int64_t until, int64_t step) {
    int best = 0;
    int sum = 0;
    int64_t edge = from;
    for (int64_t i = from; i != until && best - sum < kMaxLoss; i += step) {
        const int64_t at = step < 0 ? i - 1 : i;
        if (a + at < 0 || b + at < 0) break;
        const auto left = static_cast<size_t>(a + at);
        const auto right = static_cast<size_t>(b + at);
        if (left >= words.size() || right >= words.size()) break;
        sum += kFairBits - std::popcount(words[left] ^ words[right]);
        if (sum <= best) continue;
        best = sum;
        edge = i + step;
    }
    return edge;
}

// What most say, and of them those that heard most of it.
int64_t Majority(std::vector<int64_t> edges, bool lowest) {
    std::sort(edges.begin(), edges.end());
    if (lowest) std::reverse(edges.begin(), edges.end());
    return edges[(edges.size() - 1) * 7 / 10];
}

// What lies over one occurrence makes it look shorter with every other, and never longer: of
// each, the furthest edge but one counts, as long as there are others enough.
int64_t Furthest(std::vector<int64_t> edges, bool lowest) {
    std::sort(edges.begin(), edges.end());
    if (!lowest) std::reverse(edges.begin(), edges.end());
    return edges[edges.size() >= 3 ? 1 : 0];
}

}  // namespace

StretchEdges FindEdges(std::span<const uint32_t> words, const std::vector<uint32_t>& places,
                       size_t length) {
    const size_t count = std::min(places.size(), kMostPlaces);
    const auto size = static_cast<int64_t>(length);
    std::vector<std::vector<int64_t>> begins(count);
    std::vector<std::vector<int64_t>> ends(count);
    for (size_t i = 0; i < count; ++i) {
        for (size_t j = i + 1; j < count; ++j) {
            const int64_t a = places[i];
            const int64_t b = places[j];
            const int64_t begin = Follow(words, a, b, size / 2, -kMaxOutward, -1);
            const int64_t end = Follow(words, a, b, size / 2, size + kMaxOutward, 1);
            begins[i].push_back(begin);
            begins[j].push_back(begin);
            ends[i].push_back(end);
            ends[j].push_back(end);
        }
    }
    std::vector<int64_t> beginOf;
    std::vector<int64_t> endOf;
    for (size_t i = 0; i < count; ++i) {
        beginOf.push_back(Furthest(begins[i], true));
        endOf.push_back(Furthest(ends[i], false));
    }
    return {Majority(beginOf, true), Majority(endOf, false)};
}

}  // namespace receiver
