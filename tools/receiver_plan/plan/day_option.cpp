#include "receiver_plan/plan/day_option.h"

#include <stdexcept>

namespace receiver {

using namespace std::chrono;

namespace {

constexpr unsigned kMaxDays = 366;

bool IsDate(const std::string& text) {
    if (text.size() != 10) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i == 4 || i == 7 ? text[i] != '-' : text[i] < '0' || text[i] > '9') return false;
    }
    return true;
}

}  // namespace

sys_days DayOfOption(const std::string& from) {
    if (IsDate(from)) {
        const year_month_day date(year(std::stoi(from.substr(0, 4))),
                                  month(static_cast<unsigned>(std::stoul(from.substr(5, 2)))),
                                  day(static_cast<unsigned>(std::stoul(from.substr(8, 2)))));
        if (date.ok() && date.year() >= year(1970) && date.year() < year(2200)) return date;
    }
    throw std::invalid_argument("--from: \"" + from + "\" is not a day, as 2026-03-27");
}

void CheckDays(unsigned days) {
    if (days >= 1 && days <= kMaxDays) return;
    throw std::invalid_argument("--days: " + std::to_string(days) + " is not between 1 and " +
                                std::to_string(kMaxDays));
}

}  // namespace receiver
