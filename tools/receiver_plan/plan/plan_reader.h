// Reads a plan file. Errors name the line, the key and the remedy; every fault that can be seen is
// told at once.
#pragma once

#include <string>
#include <string_view>

#include "receiver_plan/plan/plan.h"
#include "receiver_plan/plan/plan_faults.h"

namespace receiver {

// Throws FaultyPlan. Relative paths count from `folder`.
Plan ParsePlan(std::string_view text, const std::string& path, const std::string& folder);
// Relative paths count from the file's folder. Throws FaultyPlan, and std::runtime_error with a
// text for people when the file cannot be read.
Plan ReadPlan(const std::string& path);

}  // namespace receiver
