// Why a recording was not heard where it nearly was: what the differing bits support, and no
// more. Pure but for the loading of a recording's other speeds.
//
//   Units  seconds of the recording; shares 0..1.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "receiver_scan/listen/bit_errors.h"

namespace receiver {

enum class CauseKind {
    kOtherSpeed,    // it plays faster or slower
    kOtherPart,     // a stretch of time is something else, or missing
    kOverlaidPart,  // something lies over a stretch of time
    kUpperBands,    // a low-pass
    kLowerBands,    // a high-pass, hum or bass
    kOverlaid,      // something lies over all of it
    kChance,        // no more alike than the source is elsewhere
};

struct MissCause {
    CauseKind kind = CauseKind::kOverlaid;
    // kOtherPart, kOverlaidPart: the stretch, and whether it is at an end of the recording.
    double fromSeconds = 0.0;
    double toSeconds = 0.0;
    bool atBeginning = false;
    bool atEnd = false;
    // kUpperBands: from here on up; kLowerBands: up to here.
    double hz = 0.0;
    // kOtherSpeed: the source's speed in per cent of the recording's, less 100, and the rate
    // that a recording of this speed would have.
    double speedPercent = 0.0;
    double speedBer = 1.0;
    // Stretch or bands: the rate within and outside.
    double insideBer = 0.0;
    double outsideBer = 0.0;
};

// The same recording at another speed, pitch included.
struct SpeedVariant {
    double percent = 0.0;  // above 0: faster
    std::vector<uint32_t> words;
};

// Speeds of `samples` (mono, at the analysis rate) from 6 % slower to 6 % faster. Of long
// recordings the first 20 s alone. Takes the planner lock.
std::vector<SpeedVariant> MakeSpeedVariants(const std::vector<int16_t>& samples);

// At its own speed a recording comes as near as this. Of so many speeds and places one or the
// other comes nearly so near by chance.
inline constexpr double kMaxSpeedBer = 0.16;

// The best of the variants about an offset of the recording's; percent 0 when none is better
// by enough to mean something.
struct SpeedGuess {
    double percent = 0.0;
    BestOffset best;
};
SpeedGuess GuessSpeed(Words source, Words reference, size_t offset,
                      const std::vector<SpeedVariant>& variants);

// Of the errors at an offset, apart from another speed. `isChance`: the rate is one that the
// source reaches anywhere.
MissCause GuessCause(const BitErrors& errors, bool isChance);

// For people, one line: "its first 1.2 s differ ...".
std::string Describe(const MissCause& cause);
// For programs: "other-speed".
const char* NameOf(CauseKind kind);

}  // namespace receiver
