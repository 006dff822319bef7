// Runs as an iCalendar file (RFC 5545), for people's calendars. Pure.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/check/plan_runs.h"
#include "receiver_plan/plan/plan.h"

namespace receiver {

// The same runs give the same bytes; an event keeps its name from one file to the next.
std::string ICalendar(const Plan& plan, const std::vector<PlannedRun>& runs);

}  // namespace receiver
