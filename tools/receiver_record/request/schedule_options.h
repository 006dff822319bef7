// When a recording begins and ends, apart from what is heard: --now, --until, --repeat.
#pragma once

#include <optional>
#include <string>

#include "receiver_record/request/clock_time.h"

namespace CLI {
class App;
}

namespace receiver {

// As typed.
struct ScheduleValues {
    bool now = false;
    bool repeat = false;
    std::string until;
};

struct ScheduleOptions {
    bool startNow = false;           // with the first sample
    bool repeat = false;             // after one programme the next
    std::optional<ClockTime> until;  // the next such time ends it all
};

// The values outlive the application.
void DeclareSchedule(CLI::App& app, ScheduleValues& values);
// Throws std::invalid_argument with a text for people.
ScheduleOptions CheckSchedule(const ScheduleValues& values);

}  // namespace receiver
