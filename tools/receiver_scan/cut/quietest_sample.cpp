#include "receiver_scan/cut/quietest_sample.h"

#include <algorithm>

namespace receiver {

size_t QuietestSample(const std::vector<double>& levels, size_t wanted, size_t around) {
    if (levels.empty()) return 0;
    // Sums of all before each, so that every window costs the same.
    std::vector<double> before(levels.size() + 1, 0.0);
    for (size_t i = 0; i < levels.size(); ++i) before[i + 1] = before[i] + levels[i];
    const auto distance = [&](size_t at) { return at > wanted ? at - wanted : wanted - at; };
    size_t best = 0;
    double least = 0.0;
    for (size_t at = 0; at < levels.size(); ++at) {
        const size_t begin = at - std::min(at, around);
        const size_t end = std::min(levels.size(), at + around + 1);
        // The sample itself decides among equally quiet surroundings.
        const double level =
            (before[end] - before[begin]) / static_cast<double>(end - begin) + levels[at];
        if (at == 0 || level < least || (level == least && distance(at) < distance(best))) {
            best = at;
            least = level;
        }
    }
    return best;
}

}  // namespace receiver
