// A plan at a glance: one page that needs nothing else, with the runs of each day as bars, what
// overlaps, and what all of it needs. Pure but for the system's zones.
#pragma once

#include <chrono>
#include <string>

#include "receiver_plan/check/plan_check.h"
#include "receiver_plan/plan/plan.h"

namespace receiver {

// `from` and `until` are those of the check's runs.
std::string WeekPage(const Plan& plan, const PlanCheck& check, std::chrono::sys_seconds from,
                     std::chrono::sys_seconds until);

}  // namespace receiver
