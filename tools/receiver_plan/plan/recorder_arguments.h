// The command line with which receiver-record records a programme of a plan. Pure.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/plan/plan.h"

namespace receiver {

// The folder of a programme's recordings.
std::string FolderOf(const PlannedProgram& program);
// What follows "receiver-record"; `copy` counts from 1.
std::vector<std::string> RecorderArguments(const Plan& plan, const PlannedProgram& program,
                                           unsigned copy);

}  // namespace receiver
