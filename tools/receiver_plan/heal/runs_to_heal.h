// Which runs have copies that are to be put together, and into which file. Pure.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/status/run_status.h"

namespace receiver {

struct RunToHeal {
    std::vector<std::string> whole;  // copies, as they were ended; each with its path
    std::vector<std::string> left;   // what killed recorders have left, perhaps nothing to read
    std::string output;              // beside the first, under the name that all copies share
};

// Of those that are over: with FLAC or WAV of more than one copy, and no healed file yet.
std::vector<RunToHeal> RunsToHeal(const std::vector<RunStatus>& runs);

}  // namespace receiver
