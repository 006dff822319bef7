#include "receiver_plan/render/cron_schedule.h"

#include <bitset>
#include <utility>

#include "receiver_plan/plan/plan_keys.h"

namespace receiver {
namespace {

// "*", "5" or "1-5,7" from `least` on.
template <size_t kSize>
std::string Field(const std::bitset<kSize>& numbers, size_t least) {
    if (numbers.count() == kSize - least) return "*";
    std::string text;
    for (size_t first = least; first < kSize; ++first) {
        if (!numbers[first]) continue;
        size_t last = first;
        while (last + 1 < kSize && numbers[last + 1]) ++last;
        if (!text.empty()) text += ',';
        text += std::to_string(first);
        if (last > first) text += (last > first + 1 ? "-" : ",") + std::to_string(last);
        first = last;
    }
    return text;
}

}  // namespace

PlanFault FaultOf(const PlannedProgram& program, const std::string& key, std::string text,
                  std::string remedy) {
    return {program.LineOf(key), std::string(kProgramsSection) + "." + program.name + "." + key,
            std::move(text), std::move(remedy)};
}

void ExpectMachineZone(const Plan& plan, const PlannedProgram& program, const std::string& zone,
                       const std::string& engine, PlanFaults& faults) {
    const std::string stationZone = plan.StationOf(program).zone.Name();
    if (stationZone == zone) return;
    faults.Add(FaultOf(program, "station",
                       engine + " goes by the machine's clocks, " + zone +
                           ", and the station's are those of " + stationZone,
                       "render it for another engine, or for machines of that zone"));
}

std::string CronSchedule(const PlannedProgram& program, const CalendarExpression& when,
                         const std::string& engine, PlanFaults& faults) {
    const std::string subject = "\"" + when.Text() + "\": " + engine;
    if (when.Seconds() != std::bitset<60>(1)) {
        faults.Add(FaultOf(program, "when", subject + " begins at whole minutes",
                           "leave out the seconds"));
    }
    if (!when.Years().empty()) {
        faults.Add(FaultOf(program, "when", subject + " knows no years", "write * for the year"));
    }
    const std::string days = Field(when.Days(), 1);
    const std::string weekdays = Field(when.Weekdays(), 0);
    if (days != "*" && weekdays != "*") {
        faults.Add(FaultOf(program, "when",
                           subject + " would take each of these days of the week and of the month",
                           "give the one or the other"));
    }
    return Field(when.Minutes(), 0) + " " + Field(when.Hours(), 0) + " " + days + " " +
           Field(when.Months(), 1) + " " + weekdays;
}

}  // namespace receiver
