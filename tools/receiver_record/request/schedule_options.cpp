#include "receiver_record/request/schedule_options.h"

#include <CLI/CLI.hpp>
#include <stdexcept>

namespace receiver {

void DeclareSchedule(CLI::App& app, ScheduleValues& values) {
    const char* const group = "When";
    app.add_flag("--now", values.now, "Begin with the first sample; needs no --start")
        ->group(group);
    app.add_option("--until", values.until,
                   "Stop when it is this time, HH:MM or HH:MM:SS, today or tomorrow")
        ->type_name("TIME")
        ->group(group);
    app.add_flag("--repeat", values.repeat,
                 "After one programme wait for the next, each in a file of its own")
        ->group(group);
}

ScheduleOptions CheckSchedule(const ScheduleValues& values) {
    ScheduleOptions options;
    options.startNow = values.now;
    options.repeat = values.repeat;
    if (values.until.empty()) return options;
    options.until = ParseClockTime(values.until);
    if (!options.until) {
        throw std::invalid_argument("--until: invalid time \"" + values.until + "\"");
    }
    return options;
}

}  // namespace receiver
