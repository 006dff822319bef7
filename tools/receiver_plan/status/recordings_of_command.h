// The recordings that a command is to look at.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/status/found_recording.h"

namespace receiver {

// Those below all of these folders. Throws PlanToolError for a folder that cannot be read.
FoundRecordings RecordingsOfCommand(const std::vector<std::string>& folders, UtcMoment now);

}  // namespace receiver
