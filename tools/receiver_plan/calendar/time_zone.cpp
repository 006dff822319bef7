#include "receiver_plan/calendar/time_zone.h"

#include <date/tz.h>

#include <stdexcept>

namespace receiver {

std::optional<TimeZone> TimeZone::Find(const std::string& name) {
    try {
        return TimeZone(date::locate_zone(name));
    } catch (const std::runtime_error&) {
        return {};
    }
}

std::optional<std::chrono::sys_seconds> TimeZone::ToUtc(std::chrono::local_seconds time) const {
    const date::local_seconds there(time.time_since_epoch());
    const date::local_info info = zone_->get_info(there);
    if (info.result == date::local_info::nonexistent) return {};
    return std::chrono::sys_seconds(time.time_since_epoch() - info.first.offset);
}

std::chrono::local_seconds TimeZone::ToLocal(std::chrono::sys_seconds time) const {
    return std::chrono::local_seconds(time.time_since_epoch() + zone_->get_info(time).offset);
}

std::string TimeZone::Name() const {
    return zone_->name();
}

}  // namespace receiver
