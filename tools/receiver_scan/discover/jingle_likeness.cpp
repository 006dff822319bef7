#include "receiver_scan/discover/jingle_likeness.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace receiver {
namespace {

constexpr double kShortSeconds = 10.0;
constexpr double kOften = 16.0;
constexpr double kOneSongSeconds = 360.0;
constexpr double kOneSongFactor = 0.3;

double Concentration(const std::vector<double>& times, double period) {
    double x = 0.0;
    double y = 0.0;
    for (const double time : times) {
        const double angle = 2.0 * std::numbers::pi * time / period;
        x += std::cos(angle);
        y += std::sin(angle);
    }
    return std::hypot(x, y) / static_cast<double>(times.size());
}

}  // namespace

double Regularity(const std::vector<double>& times) {
    if (times.size() < 3) return 0.0;  // any two times are regular
    double most = 0.0;
    for (const double period : {3600.0, 1800.0, 900.0}) {
        most = std::max(most, Concentration(times, period));
    }
    // What chance gives counts for nothing.
    const double chance = 1.0 / std::sqrt(static_cast<double>(times.size()));
    return std::clamp((most - chance) / (1.0 - chance), 0.0, 1.0);
}

double JingleLikeness(const RepeatGroup& group) {
    std::vector<double> times;
    for (const Occurrence& occurrence : group.occurrences) times.push_back(occurrence.start);
    const double shortness = group.seconds <= kShortSeconds ? 1.0 : kShortSeconds / group.seconds;
    const double often =
        std::min(1.0, std::log2(static_cast<double>(times.size())) / std::log2(kOften));
    const double likeness = 0.45 * shortness + 0.35 * often + 0.2 * Regularity(times);
    const bool isInOneSong = times.back() - times.front() < kOneSongSeconds;
    return isInOneSong ? likeness * kOneSongFactor : likeness;
}

void SortByJingleLikeness(std::vector<RepeatGroup>& groups) {
    std::stable_sort(groups.begin(), groups.end(), [](const RepeatGroup& a, const RepeatGroup& b) {
        return JingleLikeness(a) > JingleLikeness(b);
    });
}

}  // namespace receiver
