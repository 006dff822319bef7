// The time zones of the system's database, with their changes of daylight saving. Any thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace date {
class time_zone;
}

namespace receiver {

class TimeZone final {
public:
    // "Europe/Berlin"; nothing for a zone that the system does not know.
    static std::optional<TimeZone> Find(const std::string& name);

    // Nothing for a time that clocks leave out when they are put forward; of one that they show
    // twice the first.
    std::optional<std::chrono::sys_seconds> ToUtc(std::chrono::local_seconds time) const;
    std::chrono::local_seconds ToLocal(std::chrono::sys_seconds time) const;
    std::string Name() const;

private:
    explicit TimeZone(const date::time_zone* zone) : zone_(zone) {}

    const date::time_zone* zone_;  // lives as long as the process
};

}  // namespace receiver
