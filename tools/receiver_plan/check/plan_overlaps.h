// Which runs may go on at the same time. Pure.
#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

#include "receiver_plan/check/plan_runs.h"

namespace receiver {

// A stretch in which at every moment at least two runs may go on.
struct PlanOverlap {
    std::chrono::sys_seconds from;
    std::chrono::sys_seconds until;
    std::vector<PlannedRun> runs;  // in the order of their starts
    // The most of them at one time, and when that is for the first time.
    size_t most = 0;
    std::chrono::sys_seconds mostFrom;
    std::chrono::sys_seconds mostUntil;
};

// `runs` are in the order of their starts. A run that begins at the moment in which another one
// ends at the latest does not overlap with it.
std::vector<PlanOverlap> OverlapsOf(const std::vector<PlannedRun>& runs);

}  // namespace receiver
