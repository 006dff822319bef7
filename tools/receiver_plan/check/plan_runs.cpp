#include "receiver_plan/check/plan_runs.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "receiver_plan/calendar/run_times.h"

namespace receiver {

using namespace std::chrono;

namespace {

const char* DayName(local_seconds time) {
    static constexpr std::array<const char*, 7> kNames = {"Sun", "Mon", "Tue", "Wed",
                                                          "Thu", "Fri", "Sat"};
    return kNames.at(weekday(floor<days>(time)).c_encoding());
}

}  // namespace

std::vector<PlannedRun> RunsOf(const Plan& plan, size_t program, sys_seconds from,
                               sys_seconds until) {
    const PlannedProgram& planned = plan.programs[program];
    const seconds longest = ceil<seconds>(milliseconds(planned.LongestMs()));
    std::vector<PlannedRun> runs;
    for (const CalendarExpression& when : planned.when) {
        for (const sys_seconds start :
             RunsBetween(when, plan.StationOf(planned).zone, from, until, kMaxRuns)) {
            runs.push_back({start, start + longest, program});
        }
    }
    std::sort(runs.begin(), runs.end());
    runs.erase(std::unique(runs.begin(), runs.end()), runs.end());
    return runs;
}

std::vector<PlannedRun> AllRuns(const Plan& plan, sys_seconds from, sys_seconds until) {
    std::vector<PlannedRun> all;
    for (size_t program = 0; program < plan.programs.size(); ++program) {
        const std::vector<PlannedRun> runs = RunsOf(plan, program, from, until);
        all.insert(all.end(), runs.begin(), runs.end());
    }
    std::sort(all.begin(), all.end());
    return all;
}

std::string DateText(local_seconds time) {
    const year_month_day date(floor<days>(time));
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text.data();
}

std::string ClockText(local_seconds time) {
    const hh_mm_ss clock(time - floor<days>(time));
    std::array<char, 40> text{};
    std::snprintf(
        text.data(), text.size(), "%02d:%02d:%02d", static_cast<int>(clock.hours().count()),
        static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return text.data();
}

std::string LocalText(const TimeZone& zone, sys_seconds time) {
    const local_seconds local = zone.ToLocal(time);
    const minutes offset = floor<minutes>(local.time_since_epoch() - time.time_since_epoch());
    const auto size = static_cast<int>(abs(offset).count());
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), " %c%02d:%02d", offset < minutes(0) ? '-' : '+',
                  size / 60, size % 60);
    return std::string(DayName(local)) + " " + DateText(local) + " " + ClockText(local) +
           text.data();
}

}  // namespace receiver
