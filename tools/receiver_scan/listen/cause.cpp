#include "receiver_scan/listen/cause.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <span>

#include "detect/audio_fingerprinter.h"

namespace receiver {
namespace {

// A run of words or bands is wrong where more than a quarter of its bits differ: audio of the
// same origin stays below, something else altogether lies at a half.
constexpr double kWrong = 0.25;
constexpr double kMinInsideBer = 0.27;
constexpr double kMaxOutsideBer = 0.17;  // a little above what the detector takes for the same
constexpr double kUnrelatedBer = 0.41;
constexpr double kMinShare = 0.08;
constexpr double kMaxShare = 0.92;
// A word tells of the middle of its window more than of its ends.
constexpr double kWindowSeconds = 8192.0 / kAnalysisRate;

struct Stretch {
    size_t begin = 0;
    size_t end = 0;
    double insideBer = 0.0;
    double outsideBer = 0.0;
};

// The run with the most errors above kWrong. `bits` is how many were compared in each entry.
Stretch WorstStretch(std::span<const uint32_t> errors, double bits) {
    Stretch worst;
    double sum = 0.0;
    double best = 0.0;
    size_t begin = 0;
    for (size_t i = 0; i < errors.size(); ++i) {
        sum += errors[i] - kWrong * bits;
        if (sum <= 0.0) {
            sum = 0.0;
            begin = i + 1;
        } else if (sum > best) {
            best = sum;
            worst.begin = begin;
            worst.end = i + 1;
        }
    }
    double inside = 0.0;
    double all = 0.0;
    for (size_t i = 0; i < errors.size(); ++i) {
        all += errors[i];
        if (i >= worst.begin && i < worst.end) inside += errors[i];
    }
    const auto insideCount = static_cast<double>(worst.end - worst.begin);
    const auto outsideCount = static_cast<double>(errors.size()) - insideCount;
    if (insideCount > 0) worst.insideBer = inside / (insideCount * bits);
    if (outsideCount > 0) worst.outsideBer = (all - inside) / (outsideCount * bits);
    return worst;
}

bool IsDistinct(const Stretch& stretch, size_t entries) {
    const double share =
        static_cast<double>(stretch.end - stretch.begin) / static_cast<double>(entries);
    return share >= kMinShare && share <= kMaxShare && stretch.insideBer >= kMinInsideBer &&
           stretch.outsideBer <= kMaxOutsideBer;
}

// The first word depends on what came before it and is left out.
MissCause OfTime(const Stretch& stretch, size_t words) {
    constexpr size_t kEdgeWords = 8;
    MissCause cause;
    cause.kind =
        stretch.insideBer >= kUnrelatedBer ? CauseKind::kOtherPart : CauseKind::kOverlaidPart;
    cause.insideBer = stretch.insideBer;
    cause.outsideBer = stretch.outsideBer;
    cause.atBeginning = stretch.begin <= kEdgeWords;
    cause.atEnd = stretch.end + kEdgeWords >= words;
    const double end = static_cast<double>(words) * kHopSeconds + kWindowSeconds;
    const auto seconds = [](size_t word) {
        return static_cast<double>(word) * kHopSeconds + kWindowSeconds / 2.0;
    };
    cause.fromSeconds = cause.atBeginning ? 0.0 : seconds(stretch.begin);
    cause.toSeconds = cause.atEnd ? end : seconds(stretch.end);
    return cause;
}

// Where band `band` begins.
double HzOfBand(size_t band) {
    return 300.0 * std::pow(10.0, static_cast<double>(band) / (kWordBits + 1.0));
}

std::vector<int16_t> AtSpeed(const std::vector<int16_t>& samples, double factor) {
    // Linear interpolation is enough: all that counts lies below 3000 Hz.
    const auto count = static_cast<size_t>(static_cast<double>(samples.size()) / factor);
    std::vector<int16_t> changed;
    changed.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const double at = static_cast<double>(i) * factor;
        const auto left = static_cast<size_t>(at);
        if (left + 1 >= samples.size()) break;
        const double part = at - static_cast<double>(left);
        changed.push_back(static_cast<int16_t>(
            std::lround((1.0 - part) * samples[left] + part * samples[left + 1])));
    }
    return changed;
}

std::vector<uint32_t> WordsOf(const std::vector<int16_t>& samples) {
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    std::vector<uint32_t> words;
    for (FrameClock clock;; clock.Advance()) {
        const auto start = static_cast<size_t>(clock.StartSample());
        if (start + fingerprinter.WindowLength() > samples.size()) return words;
        words.push_back(fingerprinter.ComputeWord(samples.data() + start));
    }
}

std::string Text(const char* format, double a, double b = 0.0, double c = 0.0) {
    char text[200];
    std::snprintf(text, sizeof(text), format, a, b, c);
    return text;
}

}  // namespace

std::vector<SpeedVariant> MakeSpeedVariants(const std::vector<int16_t>& samples) {
    constexpr size_t kMaxSamples = size_t{20} * kAnalysisRate;
    const std::vector<int16_t> head(
        samples.begin(),
        samples.begin() + static_cast<ptrdiff_t>(std::min(samples.size(), kMaxSamples)));
    std::vector<SpeedVariant> variants;
    for (int step = -12; step <= 12; ++step) {
        const double percent = step * 0.5;
        SpeedVariant variant{percent, WordsOf(AtSpeed(head, 1.0 + percent / 100.0))};
        const bool isUsable = step != 0 && variant.words.size() >= kMinReferenceWords;
        if (isUsable) variants.push_back(std::move(variant));
    }
    return variants;
}

SpeedGuess GuessSpeed(Words source, Words reference, size_t offset,
                      const std::vector<SpeedVariant>& variants) {
    constexpr double kMinGain = 0.75;  // of the rate that is there anyhow
    const size_t reach = reference.size() * 6 / 100 + 10;
    SpeedGuess guess;
    guess.best.ber = std::min(kMaxSpeedBer, kMinGain * BerAt(source, reference, offset));
    for (const SpeedVariant& variant : variants) {
        const BestOffset best =
            FindBest(source, variant.words, offset > reach ? offset - reach : 0, offset + reach);
        if (best.ber < guess.best.ber) guess = {variant.percent, best};
    }
    return guess;
}

MissCause GuessCause(const BitErrors& errors, bool isChance) {
    const size_t words = errors.ofWord.size() - 1;
    const Stretch time = WorstStretch(std::span(errors.ofWord).subspan(1), kWordBits);
    if (IsDistinct(time, words)) return OfTime(time, words);

    const Stretch bands = WorstStretch(errors.ofBit, static_cast<double>(words));
    const bool upper = bands.end == kWordBits;
    if (IsDistinct(bands, kWordBits) && (upper || bands.begin == 0)) {
        MissCause cause;
        cause.kind = upper ? CauseKind::kUpperBands : CauseKind::kLowerBands;
        cause.hz = HzOfBand(upper ? bands.begin + 1 : bands.end);
        cause.insideBer = bands.insideBer;
        cause.outsideBer = bands.outsideBer;
        return cause;
    }
    MissCause cause;
    cause.kind = isChance ? CauseKind::kChance : CauseKind::kOverlaid;
    return cause;
}

std::string Describe(const MissCause& cause) {
    switch (cause.kind) {
        case CauseKind::kOtherSpeed:
            return Text("it plays %.2g %% ", std::abs(cause.speedPercent)) +
                   (cause.speedPercent > 0 ? "faster" : "slower") +
                   Text(" than the recording: at that speed the BER falls to %.3f", cause.speedBer);
        case CauseKind::kOtherPart:
            if (cause.atBeginning) {
                return Text(
                    "its first %.1f s are something else: a beginning that is cut off, or "
                    "another version",
                    cause.toSeconds);
            }
            if (cause.atEnd) {
                return Text(
                    "from %.1f s on it is something else: an end that is cut off, or "
                    "another version",
                    cause.fromSeconds);
            }
            return Text("from %.1f to %.1f s it is something else: another version, or a gap",
                        cause.fromSeconds, cause.toSeconds);
        case CauseKind::kOverlaidPart:
            return Text("a voice, music or noise over it from %.1f to %.1f s", cause.fromSeconds,
                        cause.toSeconds);
        case CauseKind::kUpperBands:
            return Text(
                "above %.0f Hz nothing is left of it: the low-pass of another codec or "
                "line",
                cause.hz);
        case CauseKind::kLowerBands:
            return Text("below %.0f Hz it is something else: hum, bass, or a high-pass", cause.hz);
        case CauseKind::kOverlaid:
            return "a voice, music or noise over all of it: the errors are spread over time and "
                   "bands";
        case CauseKind::kChance:
            break;
    }
    return "chance: this source comes as near elsewhere; probably not the recording";
}

const char* NameOf(CauseKind kind) {
    switch (kind) {
        case CauseKind::kOtherSpeed:
            return "other-speed";
        case CauseKind::kOtherPart:
            return "other-part";
        case CauseKind::kOverlaidPart:
            return "overlaid-part";
        case CauseKind::kUpperBands:
            return "upper-bands";
        case CauseKind::kLowerBands:
            return "lower-bands";
        case CauseKind::kOverlaid:
            return "overlaid";
        case CauseKind::kChance:
            break;
    }
    return "chance";
}

}  // namespace receiver
