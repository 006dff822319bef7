// Whether the stations of a plan answer, in words for people. Asks over the network.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/plan/plan.h"
#include "receiver_plan/plan/plan_faults.h"

namespace receiver {

struct StationAnswers {
    PlanFaults faults;               // a station that does not answer is one
    std::vector<std::string> lines;  // those that do, as a table
};

// Of the stations that a programme is recorded from; an address that several have is asked once.
StationAnswers AskStations(const Plan& plan);

}  // namespace receiver
