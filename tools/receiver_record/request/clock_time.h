// A time of the day, as people set an end: "18:30". Pure but for the time zone.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

#include "platform/clock.h"

namespace receiver {

struct ClockTime {
    int hour = 0;
    int minute = 0;
    int second = 0;
};

// "18:30" or "18:30:15"; nothing for any other text.
std::optional<ClockTime> ParseClockTime(std::string_view text);
// When it is that time next, after `now`, in the local time zone.
std::time_t NextTimeOf(const ClockTime& time, const LocalTime& now);

// The time so many ms before another one.
LocalTime MsBefore(const LocalTime& time, uint64_t ms);

}  // namespace receiver
