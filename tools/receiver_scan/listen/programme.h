// What the receiver does with its matches: which of them begins the programme, which one
// ends it, and why the others change nothing. Pure.
//
//   Units  frames at 44100 Hz.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "detect/detector_match.h"
#include "receiver_scan/source/heard_audio.h"
#include "receiver_scan/source/reference_audio.h"
#include "session/program_end.h"

namespace receiver {

enum class MatchFate {
    kStartsProgramme,
    kEndsProgramme,
    kReportedOnly,     // role "other"
    kHeardAgain,       // the same occurrence, told once more
    kStartAfterStart,  // a start while the programme lasts
    kEndBeforeStart,   // no programme had begun
    kEndTooLate,       // the programme ends before this recording would
    kAfterProgramme,   // the programme is over
};

struct JudgedMatch {
    DetectorMatch match;
    MatchFate fate = MatchFate::kReportedOnly;
};

struct ProgrammeLimits {
    uint32_t maximumMs = 0;
    uint32_t fadeMs = 0;
};

struct Programme {
    uint64_t startSample = 0;
    uint64_t endSample = 0;
    uint64_t fadeFrames = 0;
    ProgramEndReason reason = ProgramEndReason::kSourceEnded;
    bool goesOn = false;  // nothing ended it while the scan listened
};

struct Judgement {
    std::vector<JudgedMatch> matches;  // in the order of telling
    std::optional<Programme> programme;
};

// Without limits the programme lasts as long as the source.
Judgement Judge(const std::vector<DetectorMatch>& matches,
                const std::vector<ScanReference>& references, const HeardAudio& heard,
                const std::optional<ProgrammeLimits>& limits);

}  // namespace receiver
