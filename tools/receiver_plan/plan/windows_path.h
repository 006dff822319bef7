// Paths of Windows in plans, which are read on other systems, too. Pure.
#pragma once

#include <string>
#include <string_view>

#include "receiver_plan/plan/plan.h"
#include "receiver_plan/plan/plan_faults.h"

namespace receiver {

// Whole ones: "D:\Radio", "D:/Radio" or "\\server\share".
bool IsWindowsPath(std::string_view path);
// The file of "[ID=]FILE".
std::string_view FileOfRecording(std::string_view recording);

// A fault for each path of the plan that is not of the one kind or of the other.
PlanFaults PathsOfAnotherKind(const Plan& plan, bool areOfWindows, const std::string& engine);

}  // namespace receiver
