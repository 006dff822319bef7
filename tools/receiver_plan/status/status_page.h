// What became of runs, as one HTML file that needs no network and no scripts. Pure but for the
// system's zones.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/plan/plan.h"
#include "receiver_plan/status/run_status.h"

namespace receiver {

// `plan` is null without one; `notes` are lines for people.
std::string StatusPage(const Plan* plan, const std::vector<RunStatus>& runs,
                       const StatusStretch& stretch, const std::vector<std::string>& notes);

}  // namespace receiver
