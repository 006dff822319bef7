// Where a programme is to begin and end, and where it does. Pure.
//
//   Units  samples are frames of the stream, counted from its first one.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "session/program_end.h"

namespace receiver {

// What the command line says of it.
struct CutLimits {
    std::optional<uint32_t> maximumMs;  // nothing: only a recording or the source ends it
    uint32_t fadeMs = 0;                // before the end, unless an end recording made it
    uint32_t minimumMs = 0;             // an end recording that begins earlier does not end it
    bool trimStart = false;             // it begins after the start recording
    bool trimEnd = false;               // it ends before the end recording
};

struct EndRecording {
    std::string referenceId;
    std::string path;  // UTF-8
};

struct CutPlan {
    uint64_t servedSample = 0;  // the first that comes
    uint64_t startSample = 0;   // where the detector has heard the start
    std::string startPath;      // of the recording that it has heard there; empty: none
    std::vector<EndRecording> ends;
    CutLimits limits;
};

// An end that an end recording makes.
struct CutEnd {
    uint64_t sample = 0;
    bool exact = false;  // by correlation, not by the detector
};

// Whether an end recording that begins at `sample` counts as an end. The recording that opens
// the programme is none, though the same may close it.
bool CountsAsEnd(const CutPlan& plan, uint64_t sample);

// The programme's end as far as it is known, by the receiver's own rules; nothing while nothing
// ends it.
std::optional<ProgramEnd> EndOfCut(uint64_t begin, const CutLimits& limits,
                                   std::span<const CutEnd> ends,
                                   const std::optional<ForcedEnd>& forced);

}  // namespace receiver
