// A calendar expression in the five fields of cron, which other engines take, too. Pure.
#pragma once

#include <string>

#include "receiver_plan/plan/plan.h"
#include "receiver_plan/plan/plan_faults.h"

namespace receiver {

// "25 18 * * 1-5". What cron cannot express becomes a fault of the programme.
std::string CronSchedule(const PlannedProgram& program, const CalendarExpression& when,
                         const std::string& engine, PlanFaults& faults);

// A fault for a programme whose station is not in the zone of the machines' clocks, by which the
// engine goes.
void ExpectMachineZone(const Plan& plan, const PlannedProgram& program, const std::string& zone,
                       const std::string& engine, PlanFaults& faults);

// A fault of a programme's key.
PlanFault FaultOf(const PlannedProgram& program, const std::string& key, std::string text,
                  std::string remedy);

}  // namespace receiver
