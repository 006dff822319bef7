// What a check says to people. Pure.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/check/plan_check.h"

namespace receiver {

// Lines without their line ends. The findings, the faults first:
std::vector<std::string> FindingLines(const Plan& plan, const PlanCheck& check);
std::vector<std::string> FaultLines(const Plan& plan, const PlanFaults& faults);
// The runs as a table, which of them overlap, and what all need:
std::vector<std::string> RunLines(const Plan& plan, const PlanCheck& check, unsigned days);

// One for each stretch: "Sat 2026-03-28 19:00:00 +01:00 until 20:30:00: evening, news".
std::vector<std::string> OverlapLines(const Plan& plan, const std::vector<PlannedRun>& runs);
// Nothing for a plan without runs.
std::vector<std::string> NeedLines(const Plan& plan, const PlanNeeds& needs);
std::string CopiesText(unsigned copies);  // ", 2 copies", or nothing for one
std::string BytesText(uint64_t bytes);    // "1.4 GiB"

}  // namespace receiver
