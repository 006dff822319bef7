#include "receiver_plan/plan/plan_tool_error.h"

#include "receiver_plan/plan/plan_reader.h"

namespace receiver {

std::string FaultLines(const std::string& path, const FaultyPlan& faulty) {
    std::string lines;
    for (const PlanFault& fault : faulty.All()) {
        lines += (lines.empty() ? "" : "\n") + FaultLine(path, fault);
    }
    return lines;
}

Plan ReadPlanOfCommand(const std::string& path) {
    try {
        return ReadPlan(path);
    } catch (const FaultyPlan& faulty) {
        throw PlanToolError(PlanExitCode::kFaulty, FaultLines(path, faulty));
    } catch (const std::runtime_error& error) {
        throw PlanToolError(PlanExitCode::kUnreadable,
                            std::string("receiver-plan: ") + error.what());
    }
}

}  // namespace receiver
