#include "receiver_scan/discover/stretch_edges.h"

#include <algorithm>
#include <bit>

#include "receiver_scan/discover/edge_votes.h"

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

}  // namespace

StretchEdges FindEdges(std::span<const uint32_t> words, const std::vector<uint32_t>& places,
                       size_t length) {
    const size_t count = std::min(places.size(), kMostPlaces);
    const auto size = static_cast<int64_t>(length);
    EdgeVotes begins(EdgeVotes::Edge::kBegin, count);
    EdgeVotes ends(EdgeVotes::Edge::kEnd, count);
    for (size_t i = 0; i < count; ++i) {
        for (size_t j = i + 1; j < count; ++j) {
            const int64_t a = places[i];
            const int64_t b = places[j];
            begins.Add(i, j, Follow(words, a, b, size / 2, -kMaxOutward, -1));
            ends.Add(i, j, Follow(words, a, b, size / 2, size + kMaxOutward, 1));
        }
    }
    return {begins.Agreed(), ends.Agreed()};
}

}  // namespace receiver
