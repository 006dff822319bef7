#include "receiver_scan/discover/sound_edges.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "audio/correlation.h"
#include "receiver_scan/discover/edge_votes.h"

namespace receiver {
namespace {

constexpr size_t kMostPlayings = 8;
constexpr int64_t kOutward = kThinRate / 2;  // an edge is looked for so far outside
constexpr int64_t kInward = kThinRate;       // and inside
constexpr int64_t kMaxShift = kThinRate / 25;
constexpr size_t kMaxPattern = 4 * size_t{kThinRate};
constexpr float kMinAlike = 0.3F;  // of two playings, to be laid over each other at all
// Likeness is that of 30 ms, at steps of 2.5 ms; unrelated sound has about 0.
constexpr int64_t kHalfWindow = 75;
constexpr int64_t kStep = kThinRate / 400;
constexpr double kFairLikeness = 0.4;
// Two notes of one pitch are alike for a while, but not as a recording is alike to itself.
constexpr double kFairShare = 0.85;
constexpr float kBassShare = 0.9F;  // is taken out, so that all tones count

using Samples = std::vector<float>;

struct Laid {
    size_t playing;
    double shift;   // samples that it is later than thought, beside the first
    Samples sound;  // from kOutward before its start on, at the place of the first one's
};

Samples WithoutBass(Samples sound) {
    float before = 0.0F;
    for (float& sample : sound) {
        const float now = sample;
        sample -= kBassShare * before;
        before = now;
    }
    return sound;
}

Samples SoundAround(const Playing& playing, int64_t length, int64_t reach) {
    const auto start = static_cast<int64_t>(std::llround(playing.start * kThinRate));
    return WithoutBass(
        playing.sound->Between(start - reach, static_cast<size_t>(length + 2 * reach)));
}

// Of the highest of three values at -1, 0 and 1: where between them the top of their arc is.
double TopOf(double before, double at, double after) {
    const double bend = before - 2.0 * at + after;
    return bend < 0.0 ? std::clamp(0.5 * (before - after) / bend, -0.5, 0.5) : 0.0;
}

// By so many samples `sound`, kMaxShift longer on either side, is later than `first`.
std::optional<double> ShiftOf(const Samples& first, const Samples& sound) {
    const size_t inside = first.size() - 2 * static_cast<size_t>(kOutward);
    const size_t count = std::min(inside, kMaxPattern);
    const auto from = static_cast<std::ptrdiff_t>((first.size() - count) / 2);
    const auto length = static_cast<std::ptrdiff_t>(count);
    const Samples pattern(first.begin() + from, first.begin() + from + length);
    const Samples around(sound.begin() + from, sound.begin() + from + length + 2 * kMaxShift);
    const std::vector<float> alike = Correlate(pattern, around);
    if (alike.empty()) return std::nullopt;
    const auto best = std::max_element(alike.begin(), alike.end());
    if (*best < kMinAlike) return std::nullopt;
    const auto shift = static_cast<double>(best - alike.begin()) - kMaxShift;
    if (best == alike.begin() || best + 1 == alike.end()) return shift;
    return shift + TopOf(best[-1], *best, best[1]);
}

// `count` samples from kMaxShift + shift on, by cubics between them.
Samples Shifted(const Samples& sound, double shift, size_t count) {
    const double whole = std::floor(shift);
    const auto t = static_cast<float>(shift - whole);
    const std::array<float, 4> weights = {
        -t * (t - 1.0F) * (t - 2.0F) / 6.0F, (t + 1.0F) * (t - 1.0F) * (t - 2.0F) / 2.0F,
        -(t + 1.0F) * t * (t - 2.0F) / 2.0F, (t + 1.0F) * t * (t - 1.0F) / 6.0F};
    Samples shifted(count);
    const int64_t first = kMaxShift + static_cast<int64_t>(whole) - 1;
    for (size_t i = 0; i < count; ++i) {
        for (size_t tap = 0; tap < weights.size(); ++tap) {
            const int64_t at = first + static_cast<int64_t>(i + tap);
            if (at < 0 || at >= static_cast<int64_t>(sound.size())) continue;
            shifted[i] += weights[tap] * sound[static_cast<size_t>(at)];
        }
    }
    return shifted;
}

std::vector<Laid> LayOver(const std::vector<Playing>& playings, int64_t length) {
    std::vector<Laid> laid;
    for (size_t i = 0; i < playings.size() && laid.size() < kMostPlayings; ++i) {
        if (laid.empty()) {
            laid.push_back({i, 0.0, SoundAround(playings[i], length, kOutward)});
            continue;
        }
        const Samples sound = SoundAround(playings[i], length, kOutward + kMaxShift);
        const Samples& first = laid.front().sound;
        const std::optional<double> shift = ShiftOf(first, sound);
        if (shift) laid.push_back({i, *shift, Shifted(sound, *shift, first.size())});
    }
    return laid;
}

class PairLikeness final {
public:
    PairLikeness(const Samples& a, const Samples& b)
        : products_(Sums(a, b)), ofA_(Sums(a, a)), ofB_(Sums(b, b)) {}

    // From -1 to 1, around a sample.
    double At(int64_t sample) const {
        const double energy = Around(ofA_, sample) * Around(ofB_, sample);
        return energy > 0.0 ? Around(products_, sample) / std::sqrt(energy) : 0.0;
    }

private:
    static std::vector<double> Sums(const Samples& a, const Samples& b) {
        std::vector<double> sums(a.size() + 1, 0.0);
        for (size_t i = 0; i < a.size(); ++i) {
            sums[i + 1] = sums[i] + static_cast<double>(a[i]) * static_cast<double>(b[i]);
        }
        return sums;
    }
    static double Around(const std::vector<double>& sums, int64_t sample) {
        const auto last = static_cast<int64_t>(sums.size()) - 1;
        const auto from = static_cast<size_t>(std::clamp<int64_t>(sample - kHalfWindow, 0, last));
        const auto to = static_cast<size_t>(std::clamp<int64_t>(sample + kHalfWindow, 0, last));
        return sums[to] - sums[from];
    }

    const std::vector<double> products_, ofA_, ofB_;
};

// From `begin` within, in steps outward: the furthest at which both are alike. With `strictly`,
// as alike as before `usual`, which is thought to be the edge.
int64_t Follow(const PairLikeness& pair, int64_t begin, int64_t usual, int64_t outward,
               bool strictly) {
    const int64_t steps = std::abs(outward - begin) / kStep;
    const int64_t step = outward < begin ? -kStep : kStep;
    std::vector<double> likeness;
    likeness.reserve(static_cast<size_t>(steps));
    for (int64_t i = 0; i < steps; ++i) likeness.push_back(pair.At(begin + i * step));
    double fair = kFairLikeness;
    if (strictly) {
        std::vector<double> within(likeness.begin(),
                                   likeness.begin() + std::abs(usual - begin) / kStep);
        const auto middle = within.begin() + static_cast<std::ptrdiff_t>(within.size() / 2);
        std::nth_element(within.begin(), middle, within.end());
        fair = std::max(fair, kFairShare * *middle);
    }
    double best = 0.0;
    double sum = 0.0;
    int64_t edge = begin;
    for (int64_t i = 0; i < steps; ++i) {
        sum += likeness[static_cast<size_t>(i)] - fair;
        if (sum <= best) continue;
        best = sum;
        edge = begin + i * step + step / 2;
    }
    return edge;
}

}  // namespace

std::optional<SoundEdges> FindSoundEdges(const std::vector<Playing>& playings, double seconds) {
    const auto length = static_cast<int64_t>(std::llround(seconds * kThinRate));
    if (length < kThinRate / 4) return std::nullopt;
    const std::vector<Laid> laid = LayOver(playings, length);
    if (laid.size() < 2) return std::nullopt;
    EdgeVotes begins(EdgeVotes::Edge::kBegin, laid.size());
    EdgeVotes ends(EdgeVotes::Edge::kEnd, laid.size());
    const int64_t inward = std::min(kInward, length / 2);
    const int64_t usualEnd = kOutward + length;
    // Of two, either may be covered at the edge; of more, hardly all.
    const bool strictly = laid.size() > 2;
    for (size_t i = 0; i < laid.size(); ++i) {
        for (size_t j = i + 1; j < laid.size(); ++j) {
            const PairLikeness pair(laid[i].sound, laid[j].sound);
            begins.Add(i, j, Follow(pair, kOutward + inward, kOutward, 0, strictly));
            ends.Add(i, j,
                     Follow(pair, usualEnd - inward, usualEnd, usualEnd + kOutward, strictly));
        }
    }
    int64_t begin = begins.Agreed() - kOutward;
    int64_t end = ends.Agreed() - kOutward;
    // Not alike at all so near the edge: something covers it, and words know better.
    if (begin >= inward) begin = 0;
    if (end <= length - inward) end = length;
    SoundEdges edges;
    edges.seconds = static_cast<double>(end - begin) / kThinRate;
    for (const Playing& playing : playings) {
        edges.starts.push_back(playing.start + static_cast<double>(begin) / kThinRate);
    }
    for (const Laid& one : laid) edges.starts[one.playing] += one.shift / kThinRate;
    return edges;
}

}  // namespace receiver
