// Runs as they lie in days, for a picture: a row for each station, a bar for each run. Pure but
// for the system's zones.
//
//   Units  places are fractions of the day, 0 to 1.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "receiver_plan/check/plan_runs.h"
#include "receiver_plan/plan/plan.h"

namespace receiver {

struct WeekBar {
    PlannedRun run;
    double left = 0.0;
    double width = 0.0;
    bool beganBefore = false;  // the day before
    bool goesOn = false;       // on the next day
    size_t lane = 0;           // within its row, so that none lies over another
};

struct WeekRow {
    size_t station = 0;  // its index
    size_t lanes = 0;
    std::vector<WeekBar> bars;  // in the order of their beginnings
};

// So many runs at once, from one place to the next one's.
struct WeekLoad {
    double left = 0.0;
    size_t runs = 0;
};

struct WeekHour {
    double left = 0.0;
    std::string text;  // "18"
};

struct WeekDay {
    std::chrono::local_days date;
    std::vector<WeekHour> hours;  // every third
    std::vector<WeekRow> rows;    // of the stations that are recorded on that day
    std::vector<WeekLoad> load;   // from 0.0 on; empty without runs
};

struct Week {
    TimeZone zone;  // in which the days are
    bool isStationsZone = false;
    size_t most = 0;  // runs at once
    std::vector<WeekDay> days;
};

// The days from `from` until `until`, without those at either end that are asked about in part
// and have no run. They are those of the stations' zone, or of UTC where stations are in several.
Week WeekOf(const Plan& plan, const std::vector<PlannedRun>& runs, std::chrono::sys_seconds from,
            std::chrono::sys_seconds until);

}  // namespace receiver
