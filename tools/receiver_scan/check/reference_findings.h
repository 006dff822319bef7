// What is wrong with a reference, why that matters, and what to do about it. Pure.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "detect/detector_match.h"
#include "receiver_scan/check/reference_measurement.h"

namespace receiver {

// What comes nearer than this to kBerThreshold may match on air, after another codec.
inline constexpr double kSafeBer = 0.20;

enum class Verdict { kGood, kWeak, kUnfit, kUnreadable };

enum class FindingKind {
    kTooShort,
    kSilence,
    kLateStart,
    kRepeats,
    kLookAlike,
    kMonoLoss,
    kClipping,
    kLevel,
    kUnsteady,
    kOrdinary,  // like the programme that it was held against
};

struct Finding {
    FindingKind kind;
    Verdict verdict;     // kWeak or kUnfit
    double value;        // what was measured: seconds, dB, a share or a bit error rate
    std::string text;    // what is wrong and what it leads to
    std::string advice;  // what to do
};

// The names that programs read.
const char* NameOf(Verdict verdict);
const char* NameOf(FindingKind kind);

struct ReferenceVerdict {
    ReferenceMeasurement measured;
    std::vector<Finding> findings;  // the gravest first

    Verdict Overall() const;
};

// What the recording shows by itself.
std::vector<Finding> FindingsOf(const ReferenceMeasurement& measured);
// Adds to each what the others show: pairs that the detector can confuse.
// `stop` may be empty; once it answers true, pairs are missing.
void AddLookAlikes(std::vector<ReferenceVerdict>& references,
                   const std::function<bool()>& stop = {});
// The gravest first, and those that are alike in the order of their kinds.
void SortFindings(std::vector<Finding>& findings);

}  // namespace receiver
