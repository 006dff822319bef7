// The moments that a calendar expression means in a time zone, right across changes of daylight
// saving: a time that clocks leave out is left out, one that they show twice comes once, the first
// time, as with systemd's timers. Pure but for the system's zones.
#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include "receiver_plan/calendar/calendar_expression.h"
#include "receiver_plan/calendar/time_zone.h"

namespace receiver {

// From `from` on, before `until`, in order, no more than `most`.
std::vector<std::chrono::sys_seconds> RunsBetween(const CalendarExpression& when,
                                                  const TimeZone& zone,
                                                  std::chrono::sys_seconds from,
                                                  std::chrono::sys_seconds until, size_t most);
// The times of the same stretch that clocks leave out.
std::vector<std::chrono::local_seconds> TimesLeftOut(const CalendarExpression& when,
                                                     const TimeZone& zone,
                                                     std::chrono::sys_seconds from,
                                                     std::chrono::sys_seconds until);
// The first at or after `from`; nothing when none comes within the next forty years.
std::optional<std::chrono::sys_seconds> NextRun(const CalendarExpression& when,
                                                const TimeZone& zone,
                                                std::chrono::sys_seconds from);

}  // namespace receiver
