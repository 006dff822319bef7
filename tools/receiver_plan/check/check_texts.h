// What a check says to people. Pure.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/check/plan_check.h"

namespace receiver {

// Lines without their line ends. The findings, the faults first:
std::vector<std::string> FindingLines(const Plan& plan, const PlanCheck& check);
// The runs as a table, and what they need:
std::vector<std::string> RunLines(const Plan& plan, const PlanCheck& check, unsigned days);

std::string BytesText(uint64_t bytes);  // "1.4 GiB"

}  // namespace receiver
