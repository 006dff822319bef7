#include "receiver_scan/listen/near_misses.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace receiver {
namespace {

bool LiesApart(size_t word, const std::vector<size_t>& others, size_t distance) {
    return std::none_of(others.begin(), others.end(), [&](size_t other) {
        return (word > other ? word - other : other - word) < distance;
    });
}

// The offsets that are near, the nearest first.
std::vector<size_t> NearOffsets(const std::vector<float>& curve) {
    std::vector<size_t> near;
    for (size_t i = 0; i < curve.size(); ++i) {
        if (curve[i] < static_cast<float>(kNearBer)) near.push_back(i);
    }
    std::stable_sort(near.begin(), near.end(),
                     [&](size_t a, size_t b) { return curve[a] < curve[b]; });
    return near;
}

// How low the rate falls by itself in so much audio that has nothing to do with the reference:
// it scatters about its mean as a normal distribution does.
double ChanceBer(const std::vector<float>& curve) {
    constexpr size_t kWordsOfOneLook = 15;  // overlapping words tell nearly the same
    if (curve.empty()) return 0.0;
    std::vector<float> sorted = curve;
    const auto at = [&](double share) {
        const auto place =
            sorted.begin() + static_cast<ptrdiff_t>(share * static_cast<double>(sorted.size() - 1));
        std::nth_element(sorted.begin(), place, sorted.end());
        return static_cast<double>(*place);
    };
    const double mean = at(0.5);
    const double deviation = mean - at(0.1587);  // below it lies what is one deviation away
    const double looks =
        std::max(2.0, static_cast<double>(curve.size()) / static_cast<double>(kWordsOfOneLook));
    return mean - (std::sqrt(2.0 * std::log(looks)) + 0.5) * deviation;
}

MissCause SpeedCause(const SpeedGuess& guess) {
    MissCause cause;
    cause.kind = CauseKind::kOtherSpeed;
    cause.speedPercent = guess.percent;
    cause.speedBer = guess.best.ber;
    return cause;
}

MissCause CauseOf(Words words, Words reference, size_t offset, bool isChance,
                  const std::vector<SpeedVariant>& variants) {
    const SpeedGuess speed = GuessSpeed(words, reference, offset, variants);
    if (speed.percent != 0.0) return SpeedCause(speed);
    return GuessCause(FindBitErrors(words, reference, offset), isChance);
}

// Another speed may keep even the place from being seen.
std::optional<SpeedGuess> FindAtOtherSpeed(Words words, const std::vector<SpeedVariant>& variants) {
    constexpr size_t kStep = 3;  // a minimum is wider
    SpeedGuess guess;
    guess.best.ber = kMaxSpeedBer;
    for (const SpeedVariant& variant : variants) {
        const BestOffset best =
            FindBest(words, variant.words, 0, OffsetCount(words, variant.words), kStep);
        if (best.ber < guess.best.ber) guess = {variant.percent, best};
    }
    if (guess.percent == 0.0) return std::nullopt;
    for (const SpeedVariant& variant : variants) {
        const size_t at = guess.best.offset;
        const size_t reach = variant.words.size() / 20 + kStep;
        const BestOffset best =
            FindBest(words, variant.words, at > reach ? at - reach : 0, at + reach);
        if (best.ber < guess.best.ber) guess = {variant.percent, best};
    }
    return guess;
}

}  // namespace

size_t WordAtFrame(const HeardAudio& heard, uint64_t frame) {
    const auto at = std::lower_bound(heard.frameAt.begin(), heard.frameAt.end(), frame);
    return static_cast<size_t>(at - heard.frameAt.begin());
}

ReferenceView ViewReference(const HeardAudio& heard, const ScanReference& reference,
                            const std::vector<size_t>& heardAt, size_t most) {
    const Words own = reference.print.words;
    ReferenceView view;
    view.curve = BerCurve(heard.words, own);
    if (view.curve.empty()) return view;
    const auto lowest = std::min_element(view.curve.begin(), view.curve.end());
    view.best = BestOffset{static_cast<size_t>(lowest - view.curve.begin()), *lowest};

    std::vector<size_t> taken = heardAt;
    std::vector<size_t> chosen;
    for (const size_t offset : NearOffsets(view.curve)) {
        if (chosen.size() == most) break;
        if (!LiesApart(offset, taken, own.size())) continue;
        taken.push_back(offset);
        chosen.push_back(offset);
    }
    if (most == 0 || (chosen.empty() && !heardAt.empty())) return view;

    const std::vector<SpeedVariant> variants =
        MakeSpeedVariants(LoadReferenceSamples(reference.path));
    const double chance = ChanceBer(view.curve);
    for (const size_t offset : chosen) {
        const double ber = BerAt(heard.words, own, offset);
        view.misses.push_back({offset, heard.frameAt[offset], ber,
                               CauseOf(heard.words, own, offset, ber > chance, variants)});
    }
    if (!chosen.empty()) return view;
    if (const auto guess = FindAtOtherSpeed(heard.words, variants)) {
        const size_t offset = std::min(guess->best.offset, view.curve.size() - 1);
        view.misses.push_back(
            {offset, heard.frameAt[offset], BerAt(heard.words, own, offset), SpeedCause(*guess)});
    }
    return view;
}

}  // namespace receiver
