#include "receiver_record/request/clock_time.h"

#include <chrono>
#include <tuple>

namespace receiver {
namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Takes one or two digits at the front.
std::optional<int> TakeField(std::string_view& text, int most) {
    if (text.empty() || !IsDigit(text[0])) return {};
    const size_t digits = text.size() > 1 && IsDigit(text[1]) ? 2 : 1;
    int number = 0;
    for (const char digit : text.substr(0, digits)) number = number * 10 + (digit - '0');
    text.remove_prefix(digits);
    if (number > most) return {};
    return number;
}

}  // namespace

std::optional<ClockTime> ParseClockTime(std::string_view text) {
    ClockTime time;
    const std::optional<int> hour = TakeField(text, 23);
    if (!hour || text.empty() || text[0] != ':') return {};
    time.hour = *hour;
    for (int* const field : {&time.minute, &time.second}) {
        text.remove_prefix(1);
        const std::optional<int> number = TakeField(text, 59);
        if (!number) return {};
        *field = *number;
        if (text.empty()) return time;
        if (text[0] != ':') return {};
    }
    return {};
}

std::time_t NextTimeOf(const ClockTime& time, const LocalTime& now) {
    const auto second = std::make_tuple(static_cast<int>(now.hour), static_cast<int>(now.minute),
                                        static_cast<int>(now.second));
    const bool isOver = std::make_tuple(time.hour, time.minute, time.second) <= second;
    std::tm then = {};
    then.tm_year = static_cast<int>(now.year) - 1900;
    then.tm_mon = static_cast<int>(now.month) - 1;
    then.tm_mday = static_cast<int>(now.day) + (isOver ? 1 : 0);  // mktime knows the calendar
    then.tm_hour = time.hour;
    then.tm_min = time.minute;
    then.tm_sec = time.second;
    then.tm_isdst = -1;
    return std::mktime(&then);
}

LocalTime MsBefore(const LocalTime& time, uint64_t ms) {
    using namespace std::chrono;
    const year_month_day date(year(static_cast<int>(time.year)), month(time.month), day(time.day));
    const auto then = sys_days(date) + hours(time.hour) + minutes(time.minute) +
                      seconds(time.second) + milliseconds(time.millisecond) - milliseconds(ms);
    const auto day = floor<days>(then);
    const year_month_day thatDate(day);
    const hh_mm_ss clock(then - day);
    return {.year = static_cast<unsigned>(static_cast<int>(thatDate.year())),
            .month = static_cast<unsigned>(thatDate.month()),
            .day = static_cast<unsigned>(thatDate.day()),
            .hour = static_cast<unsigned>(clock.hours().count()),
            .minute = static_cast<unsigned>(clock.minutes().count()),
            .second = static_cast<unsigned>(clock.seconds().count()),
            .millisecond = static_cast<unsigned>(clock.subseconds().count())};
}

}  // namespace receiver
