#include "receiver_scan/discover/repeat_pairs.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace receiver {
namespace {

constexpr uint32_t kMaxLagDifference = 2;
constexpr uint32_t kMaxGapWords = 15 * 80;
constexpr uint32_t kSameEdgeWords = 16;

uint32_t LagOf(const Repeat& repeat) {
    return repeat.second - repeat.first;
}

bool Continues(const Repeat& repeat, const Repeat& next) {
    const uint32_t a = LagOf(repeat);
    const uint32_t b = LagOf(next);
    const uint32_t end = repeat.first + repeat.words;
    // A gap has to be less than what it separates: two jingles that happen to follow each
    // other at nearly the same distance stay two.
    const uint32_t gap = next.first > end ? next.first - end : 0;
    return std::max(a, b) - std::min(a, b) <= kMaxLagDifference && gap <= kMaxGapWords &&
           gap <= repeat.words && gap <= next.words && next.first + next.words > end;
}

void Join(Repeat& repeat, const Repeat& next) {
    const uint32_t end = next.first + next.words;
    const float words = static_cast<float>(repeat.words) + static_cast<float>(next.words);
    const auto mean = [&](float ofRepeat, float ofNext) {
        return (ofRepeat * static_cast<float>(repeat.words) +
                ofNext * static_cast<float>(next.words)) /
               words;
    };
    repeat.ber = mean(repeat.ber, next.ber);
    repeat.clearShare = mean(repeat.clearShare, next.clearShare);
    repeat.words = end - repeat.first;
}

struct Side {
    uint32_t begin;
    uint32_t end;
    size_t repeat;
};

bool IsNear(uint32_t a, uint32_t b) {
    return std::max(a, b) - std::min(a, b) <= kSameEdgeWords;
}

// How many other sides begin and end where a side of each repeat does.
std::vector<size_t> CountAgreeing(const std::vector<Repeat>& repeats) {
    std::vector<Side> sides;
    for (size_t i = 0; i < repeats.size(); ++i) {
        const Repeat& repeat = repeats[i];
        sides.push_back({repeat.first, repeat.first + repeat.words, i});
        sides.push_back({repeat.second, repeat.second + repeat.words, i});
    }
    std::sort(sides.begin(), sides.end(),
              [](const Side& a, const Side& b) { return a.begin < b.begin; });
    std::vector<size_t> agreeing(repeats.size(), 0);
    for (size_t i = 0; i < sides.size(); ++i) {
        for (size_t j = i + 1; j < sides.size() && IsNear(sides[i].begin, sides[j].begin); ++j) {
            if (!IsNear(sides[i].end, sides[j].end)) continue;
            ++agreeing[sides[i].repeat];
            ++agreeing[sides[j].repeat];
        }
    }
    return agreeing;
}

}  // namespace

std::vector<Repeat> JoinPieces(std::vector<Repeat> repeats) {
    std::stable_sort(repeats.begin(), repeats.end(), [](const Repeat& a, const Repeat& b) {
        // Diagonals in steps, so that neighbours of nearly the same lag follow each other.
        const uint32_t stepA = LagOf(a) / (kMaxLagDifference + 1);
        const uint32_t stepB = LagOf(b) / (kMaxLagDifference + 1);
        return stepA != stepB ? stepA < stepB : a.first < b.first;
    });
    std::vector<Repeat> joined;
    for (const Repeat& repeat : repeats) {
        if (!joined.empty() && Continues(joined.back(), repeat)) {
            Join(joined.back(), repeat);
        } else {
            joined.push_back(repeat);
        }
    }
    return joined;
}

void SortByCredibility(std::vector<Repeat>& repeats, size_t longest) {
    const std::vector<size_t> agreeing = CountAgreeing(repeats);
    std::vector<size_t> order(repeats.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        const bool longA = repeats[a].words > longest;
        const bool longB = repeats[b].words > longest;
        if (longA != longB) return longA;
        if (!longA && agreeing[a] != agreeing[b]) return agreeing[a] > agreeing[b];
        return repeats[a].words > repeats[b].words;
    });
    std::vector<Repeat> sorted;
    sorted.reserve(repeats.size());
    for (const size_t i : order) sorted.push_back(repeats[i]);
    repeats = std::move(sorted);
}

}  // namespace receiver
