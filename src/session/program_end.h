// Where a programme ends, and why: decided anew from everything known so far whenever
// something is learnt, so that the end may still move until it is reached. Pure.
//
//   Units  samples, lengths and ends are frames of the stream, counted at 44100 Hz.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "session/reference_role.h"

namespace receiver {

inline constexpr uint32_t kStreamSampleRate = 44100;  // every sample position is counted at it

struct ProgramBounds {
    uint64_t startSample = 0;
    uint32_t maximumMs = 0;
    uint32_t fadeMs = 0;
};

// A reference that the detector has found in the stream.
struct HeardReference {
    ReferenceRole role = ReferenceRole::kOther;
    uint64_t sample = 0;  // where it begins
    uint64_t length = 0;
};

enum class ProgramEndReason {
    kMaximum,      // the longest duration that was asked for
    kOutro,        // an end reference
    kInterrupted,  // the source failed
    kSourceEnded,  // the source ended
};

// As it stands on the wire.
const char* WordOf(ProgramEndReason reason);

// The source has nothing from `sample` on.
struct ForcedEnd {
    uint64_t sample = 0;
    ProgramEndReason reason = ProgramEndReason::kSourceEnded;
};

struct ProgramEnd {
    uint64_t startSample = 0;
    uint64_t endSample = 0;
    uint64_t fadeFrames = 0;  // before the end; no more than the programme has
    ProgramEndReason reason = ProgramEndReason::kMaximum;

    bool operator==(const ProgramEnd&) const = default;
};

// The earliest of: the maximum; the end of an end reference that begins at the start or
// later; the forced end. Of equal ends the one named first here gives the reason. An end
// reference ends the programme as it was broadcast, without a fade.
ProgramEnd ComputeProgramEnd(const ProgramBounds& bounds, std::span<const HeardReference> heard,
                             const std::optional<ForcedEnd>& forced);

}  // namespace receiver
