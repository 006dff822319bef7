#include "receiver_scan/check/reference_findings.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "detect/audio_fingerprinter.h"
#include "platform/text.h"
#include "receiver_scan/check/word_comparison.h"

namespace receiver {
namespace {

constexpr double kShortSeconds = 1.0;
constexpr double kMinSilentSeconds = 0.3;
constexpr double kMaxLateSeconds = 0.15;
constexpr double kAudibleBelowLoudDb = 20.0;
constexpr double kWeakMonoLossDb = 10.0;
constexpr double kUnfitMonoLossDb = 20.0;
constexpr double kMaxClippedShare = 0.001;
constexpr double kWeakLevelDb = -45.0;
constexpr double kWeakStreamedBer = 0.10;
// A reference of seconds has thousands of shifts; only a long one has so many that a search of
// all of them takes long.
constexpr size_t kMaxShiftedWords = size_t{80} * 120;

// As printf has it.
template <typename First, typename... More>
std::string Text(const char* format, First first, More... more) {
    char text[512];
    std::snprintf(text, sizeof(text), format, first, more...);
    return text;
}

std::string FileName(const std::string& path) {
    return ToUtf8(ToFilesystemPath(path).filename());
}

using Findings = std::vector<Finding>;

void FindShortness(const ReferenceMeasurement& measured, Findings& found) {
    if (measured.words.size() < kMinReferenceWords) {
        found.push_back(
            {FindingKind::kTooShort, Verdict::kUnfit, measured.seconds,
             Text("%.2f s are too short: the receiver takes none below 0.56 s", measured.seconds),
             "Cut a longer piece, two seconds or more."});
    } else if (measured.seconds < kShortSeconds) {
        found.push_back({FindingKind::kTooShort, Verdict::kWeak, measured.seconds,
                         Text("%.2f s are short: little is left to recognise under a voice or "
                              "after a codec, and other sounds may come near",
                              measured.seconds),
                         "Cut a longer piece, two seconds or more."});
    }
}

void FindLevel(const ReferenceMeasurement& measured, Findings& found) {
    const double loud = LoudLevelDb(measured.levels);
    if (loud < kSilenceDb) {
        found.push_back({FindingKind::kLevel, Verdict::kUnfit, loud,
                         "nothing can be heard in it: any silence would match",
                         "Record it again with a level."});
    } else if (loud < kWeakLevelDb) {
        found.push_back({FindingKind::kLevel, Verdict::kWeak, loud,
                         Text("its loud parts reach only %.0f dB: so far down, noise and a codec "
                              "change the fingerprint",
                              loud),
                         "Record it again with more level."});
    }
}

void FindSilence(const ReferenceMeasurement& measured, Findings& found) {
    if (LoudLevelDb(measured.levels) < kSilenceDb) return;  // said already
    const std::vector<Stretch> stretches = SilentStretches(measured.levels, kMinSilentSeconds);
    if (stretches.empty()) return;
    double silent = 0.0;
    for (const Stretch& stretch : stretches) silent += stretch.seconds;
    const std::vector<uint32_t> silence(measured.words.size(), 0);
    const double ber = BitErrorRate(measured.words, silence);
    if (ber <= kSafeBer) {
        found.push_back({FindingKind::kSilence, Verdict::kUnfit, silent,
                         Text("%.1f s of it are silent: any silence comes as near as %.2f, and "
                              "%.2f is a match",
                              silent, ber, kBerThreshold),
                         "Cut the silence off with receiver-scan cut."});
    } else {
        found.push_back({FindingKind::kSilence, Verdict::kWeak, silent,
                         Text("silent for %.1f s from %.2f s on: that part matches any silence, "
                              "and nothing when the stream has noise there",
                              stretches.front().seconds, stretches.front().start),
                         "Cut the silence off with receiver-scan cut."});
    }
}

void FindLateStart(const ReferenceMeasurement& measured, Findings& found) {
    if (LoudLevelDb(measured.levels) < kSilenceDb) return;
    const double late = SecondsUntilLoud(measured.levels, kAudibleBelowLoudDb);
    if (late < kMaxLateSeconds) return;
    const std::vector<Stretch> silent = SilentStretches(measured.levels, kLevelBlockSeconds);
    const bool leading = !silent.empty() && silent.front().start == 0.0 &&
                         silent.front().seconds >= late - kMaxLateSeconds;
    found.push_back({FindingKind::kLateStart, Verdict::kWeak, late,
                     Text("%s: as --start, the recording begins %.2f s before people hear it",
                          leading ? "begins with silence" : "fades in", late),
                     Text("Cut from %.2f s on, or accept it.", late)});
}

void FindRepeats(const ReferenceMeasurement& measured, Findings& found) {
    const std::span<const uint32_t> words(measured.words.data(),
                                          std::min(measured.words.size(), kMaxShiftedWords));
    const std::optional<Likeness> self = BestShiftedSelf(words);
    if (!self || self->ber > kSafeBer) return;
    const double later = static_cast<double>(self->word) * kWordSeconds;
    const bool matches = self->ber <= kBerThreshold;
    found.push_back(
        {FindingKind::kRepeats, matches ? Verdict::kUnfit : Verdict::kWeak, self->ber,
         Text("repeats itself: %.2f s later it differs from itself in only %.2f of the "
              "bits%s",
              later, self->ber, matches ? ", so that it would match early or several times" : ""),
         "Cut a part without the loop, or one that is no longer than a turn of it."});
}

void FindUnsteadiness(const ReferenceMeasurement& measured, Findings& found) {
    const size_t common = std::min(measured.words.size(), measured.streamedWords.size());
    if (common < 2 || LoudLevelDb(measured.levels) < kSilenceDb) return;
    const double ber = BitErrorRate(std::span(measured.words).first(common),
                                    std::span(measured.streamedWords).first(common));
    if (ber <= kWeakStreamedBer) return;
    const bool unfit = ber > kBerThreshold;
    found.push_back({FindingKind::kUnsteady, unfit ? Verdict::kUnfit : Verdict::kWeak, ber,
                     Text("hardly changes over time, like a held tone or noise: a little noise and "
                          "an unlucky position alone change %.2f of its bits%s",
                          ber, unfit ? ", and it is missed" : ""),
                     "Choose a part with melody, rhythm or speech."});
}

void FindMonoLoss(const ReferenceMeasurement& measured, Findings& found) {
    const double loss = MonoLossDb(measured.levels);
    if (loss < kWeakMonoLossDb) return;
    const bool unfit = loss >= kUnfitMonoLossDb;
    found.push_back({FindingKind::kMonoLoss, unfit ? Verdict::kUnfit : Verdict::kWeak, loss,
                     Text("its channels cancel each other: the mix that the receiver listens to "
                          "is %.0f dB below them",
                          loss),
                     "Correct the polarity of one channel, or take one channel alone."});
}

void FindClipping(const ReferenceMeasurement& measured, Findings& found) {
    const double share = ClippedShare(measured.levels);
    if (share < kMaxClippedShare) return;
    found.push_back({FindingKind::kClipping, Verdict::kWeak, share,
                     Text("clipped in %.1f %% of its samples: unless the station clips in the same "
                          "way, the fingerprint differs",
                          share * 100.0),
                     "Record it again with less level."});
}

void AddPair(ReferenceVerdict& one, const ReferenceVerdict& other, const Likeness& likeness,
             bool isShorter) {
    const bool matches = likeness.ber <= kBerThreshold;
    const double at = static_cast<double>(likeness.word) * kWordSeconds;
    const std::string name = FileName(other.measured.path);
    const std::string place = isShorter ? Text("occurs in %s at %.2f s", name.c_str(), at)
                                        : Text("contains %s at %.2f s", name.c_str(), at);
    one.findings.push_back(
        {FindingKind::kLookAlike, matches ? Verdict::kUnfit : Verdict::kWeak, likeness.ber,
         Text("%s, with %.2f of the bits differing: %s", place.c_str(), likeness.ber,
              matches ? "both are reported where one is played"
                      : "one may be reported where the other is played"),
         "Use only one of them, or parts that the other does not have."});
}

}  // namespace

const char* NameOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::kGood:
            return "good";
        case Verdict::kWeak:
            return "weak";
        case Verdict::kUnfit:
            return "unfit";
        case Verdict::kUnreadable:
            break;
    }
    return "unreadable";
}

const char* NameOf(FindingKind kind) {
    switch (kind) {
        case FindingKind::kTooShort:
            return "too-short";
        case FindingKind::kSilence:
            return "silence";
        case FindingKind::kLateStart:
            return "late-start";
        case FindingKind::kRepeats:
            return "repeats";
        case FindingKind::kLookAlike:
            return "look-alike";
        case FindingKind::kMonoLoss:
            return "mono-loss";
        case FindingKind::kClipping:
            return "clipping";
        case FindingKind::kLevel:
            return "level";
        case FindingKind::kUnsteady:
            return "unsteady";
        case FindingKind::kOrdinary:
            break;
    }
    return "ordinary";
}

Verdict ReferenceVerdict::Overall() const {
    if (!measured.failure.empty()) return Verdict::kUnreadable;
    Verdict worst = Verdict::kGood;
    for (const Finding& finding : findings) worst = std::max(worst, finding.verdict);
    return worst;
}

std::vector<Finding> FindingsOf(const ReferenceMeasurement& measured) {
    Findings found;
    if (!measured.failure.empty()) return found;
    FindShortness(measured, found);
    FindLevel(measured, found);
    FindLateStart(measured, found);
    FindMonoLoss(measured, found);
    FindClipping(measured, found);
    if (measured.words.size() >= kMinReferenceWords) {
        FindSilence(measured, found);
        FindRepeats(measured, found);
        FindUnsteadiness(measured, found);
    }
    SortFindings(found);
    return found;
}

void AddLookAlikes(std::vector<ReferenceVerdict>& references, const std::function<bool()>& stop) {
    for (size_t i = 0; i < references.size(); ++i) {
        for (size_t j = i + 1; j < references.size(); ++j) {
            ReferenceVerdict* shorter = &references[i];
            ReferenceVerdict* longer = &references[j];
            if (shorter->measured.words.size() > longer->measured.words.size()) {
                std::swap(shorter, longer);
            }
            if (shorter->measured.words.size() < kMinReferenceWords) continue;
            const Likeness likeness =
                BestPlaceWithin(shorter->measured.words, longer->measured.words, stop);
            if (likeness.ber > kSafeBer) continue;
            AddPair(*shorter, *longer, likeness, true);
            AddPair(*longer, *shorter, likeness, false);
        }
    }
    for (ReferenceVerdict& reference : references) SortFindings(reference.findings);
}

void SortFindings(std::vector<Finding>& findings) {
    std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
        if (a.verdict != b.verdict) return a.verdict > b.verdict;
        return a.kind < b.kind;
    });
}

}  // namespace receiver
