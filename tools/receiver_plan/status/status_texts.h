// What is said of runs, to people and to programs. What recordings say of themselves reaches no
// terminal and no program as it is. Pure.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/calendar/time_zone.h"
#include "receiver_plan/plan/plan.h"
#include "receiver_plan/status/run_status.h"

namespace receiver {

// Of the station of a planned run; UTC for all others. Throws std::runtime_error where the system
// has no UTC.
TimeZone ZoneOf(const Plan* plan, const RunStatus& run);

// A line for each run, and below it one for each of its recordings that is not whole. `plan` is
// null without one.
std::vector<std::string> StatusLines(const Plan* plan, const std::vector<RunStatus>& runs,
                                     unsigned days);
// "12 runs: 10 complete, 1 missed, 1 damaged."
std::string SummaryLine(const std::vector<RunStatus>& runs);
// What is to be known of a run: "copy 2 missed", "copy 1: The station was lost".
std::vector<std::string> RunFindings(const RunStatus& run);

// One JSON object for each run, in a line.
std::string StatusJson(const RunStatus& run);
std::string NoteJson(const std::string& note);

}  // namespace receiver
