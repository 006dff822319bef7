// Everything that can be known of a plan before air, without a network.
#pragma once

#include <chrono>
#include <vector>

#include "receiver_plan/check/plan_needs.h"
#include "receiver_plan/check/plan_runs.h"
#include "receiver_plan/plan/plan.h"
#include "receiver_plan/plan/plan_faults.h"

namespace receiver {

struct PlanCheck {
    PlanFaults faults;             // something will not be recorded as it is meant
    PlanFaults warnings;           // something may not be
    std::vector<PlannedRun> runs;  // those asked for
    PlanNeeds needs;               // of the year from then on
};

// Reads the recordings to listen for. `from` until `until` are the runs that are wanted; what goes
// wrong is looked for in a year from `from` on.
PlanCheck CheckPlan(const Plan& plan, std::chrono::sys_seconds from,
                    std::chrono::sys_seconds until);

}  // namespace receiver
