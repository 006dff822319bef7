#include "receiver_plan/calendar/run_times.h"

namespace receiver {
namespace {

using namespace std::chrono;

// Of every time that the expression has on these local days, in order, until `visit` answers
// false.
template <class Visit>
void ForEachTime(const CalendarExpression& when, local_days first, local_days last,
                 const Visit& visit) {
    for (local_days day = first; day <= last; day += days(1)) {
        if (!when.HasDate(year_month_day(day))) continue;
        for (size_t hour = 0; hour < 24; ++hour) {
            if (!when.Hours()[hour]) continue;
            for (size_t minute = 0; minute < 60; ++minute) {
                if (!when.Minutes()[minute]) continue;
                for (size_t second = 0; second < 60; ++second) {
                    if (when.Seconds()[second] &&
                        !visit(day + hours(hour) + minutes(minute) + seconds(second))) {
                        return;
                    }
                }
            }
        }
    }
}

local_days DayOf(const TimeZone& zone, sys_seconds time) {
    return floor<days>(zone.ToLocal(time));
}

}  // namespace

std::vector<sys_seconds> RunsBetween(const CalendarExpression& when, const TimeZone& zone,
                                     sys_seconds from, sys_seconds until, size_t most) {
    std::vector<sys_seconds> runs;
    // The clocks of a day may be put back over midnight.
    ForEachTime(when, DayOf(zone, from) - days(1), DayOf(zone, until) + days(1),
                [&](local_seconds time) {
                    const auto run = zone.ToUtc(time);
                    if (!run || *run < from) return true;
                    if (*run >= until || runs.size() >= most) return false;
                    runs.push_back(*run);
                    return true;
                });
    return runs;
}

std::vector<local_seconds> TimesLeftOut(const CalendarExpression& when, const TimeZone& zone,
                                        sys_seconds from, sys_seconds until) {
    std::vector<local_seconds> times;
    const local_seconds first = zone.ToLocal(from);
    const local_seconds last = zone.ToLocal(until);
    ForEachTime(when, floor<days>(first), floor<days>(last), [&](local_seconds time) {
        if (time >= first && time < last && !zone.ToUtc(time)) times.push_back(time);
        return true;
    });
    return times;
}

std::optional<sys_seconds> NextRun(const CalendarExpression& when, const TimeZone& zone,
                                   sys_seconds from) {
    const auto runs = RunsBetween(when, zone, from, from + years(40), 1);
    if (runs.empty()) return {};
    return runs.front();
}

}  // namespace receiver
