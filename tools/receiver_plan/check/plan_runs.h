// The runs that a plan asks for, at which a recorder begins to listen. Pure but for the system's
// zones.
#pragma once

#include <chrono>
#include <string>
#include <tuple>
#include <vector>

#include "receiver_plan/plan/plan.h"

namespace receiver {

// More than this of one programme in a stretch are not counted.
inline constexpr size_t kMaxRuns = 50000;

struct PlannedRun {
    std::chrono::sys_seconds start;
    std::chrono::sys_seconds latestEnd;  // whole seconds, rounded up
    size_t program = 0;                  // its index

    bool operator==(const PlannedRun&) const = default;
    bool operator<(const PlannedRun& other) const {
        return std::tie(start, latestEnd, program) <
               std::tie(other.start, other.latestEnd, other.program);
    }
};

// Those of one programme that begin from `from` on and before `until`, in order, each moment once.
std::vector<PlannedRun> RunsOf(const Plan& plan, size_t program, std::chrono::sys_seconds from,
                               std::chrono::sys_seconds until);
// Those of all programmes, in the order of their starts.
std::vector<PlannedRun> AllRuns(const Plan& plan, std::chrono::sys_seconds from,
                                std::chrono::sys_seconds until);

// "Fri 2026-03-27 18:25:00 +01:00", as clocks there show it.
std::string LocalText(const TimeZone& zone, std::chrono::sys_seconds time);
std::string DateText(std::chrono::local_seconds time);   // "2026-03-27"
std::string ClockText(std::chrono::local_seconds time);  // "18:25:00"

}  // namespace receiver
