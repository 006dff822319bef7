// What a plan needs of each machine that records it. Pure.
//
//   Units   bytes, processors, instants.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

#include "receiver_plan/check/plan_runs.h"
#include "receiver_plan/plan/plan.h"

namespace receiver {

// Of a recorder and its receiver, with room beyond what docs/fleet.md has measured of both.
inline constexpr double kProcessorsOfRun = 0.01;
inline constexpr uint64_t kMemoryOfRun = uint64_t{64} << 20;

struct PlanNeeds {
    // The most runs at one time, in the order of their starts, the first time that there are so
    // many; all of them last as long as they may.
    std::vector<PlannedRun> runsAtPeak;

    uint64_t bytesOfBusiestDay = 0;  // a day of UTC
    // Everything that is kept at one time, with room for the copies in which tags are added;
    // without what is kept for ever, of which there is more each day.
    uint64_t bytesKept = 0;
    bool growsForEver = false;
};

// Of a second of 44.1 kHz stereo in a file of this extension. FLAC counts as three quarters of WAV.
uint64_t BytesPerSecond(std::string_view format);
uint64_t BytesOfRun(const PlannedProgram& program);

// `runs` are in the order of their starts; what is kept is reckoned from them, so they should be of
// a year.
PlanNeeds NeedsOf(const Plan& plan, const std::vector<PlannedRun>& runs);

}  // namespace receiver
