// What a shell does for one run: it records, takes away what is no longer kept, and starts the
// programme's own command. Pure.
#pragma once

#include <string>

#include "receiver_plan/plan/plan.h"

namespace receiver {

// One line; it ends with the recorder's exit code, 0 where the recording came to its end. `copy`
// counts from 1.
std::string RecordingScript(const Plan& plan, const PlannedProgram& program, unsigned copy);

}  // namespace receiver
