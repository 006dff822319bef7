// Why a command ends without having done its work, and with which exit code.
#pragma once

#include <stdexcept>
#include <string>

#include "receiver_plan/exit_code.h"
#include "receiver_plan/plan/plan.h"
#include "receiver_plan/plan/plan_faults.h"

namespace receiver {

// The text is for people and whole: it names the file or the tool.
class PlanToolError : public std::runtime_error {
public:
    PlanToolError(PlanExitCode code, const std::string& text)
        : std::runtime_error(text), code_(code) {}
    PlanExitCode Code() const { return code_; }

private:
    const PlanExitCode code_;
};

// A line for each fault.
std::string FaultLines(const std::string& path, const FaultyPlan& faulty);

// ReadPlan for a command: throws PlanToolError, for a faulty plan with a line for each fault.
Plan ReadPlanOfCommand(const std::string& path);

}  // namespace receiver
