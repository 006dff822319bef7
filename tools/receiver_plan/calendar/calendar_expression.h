// When something happens again and again, as systemd's calendar expressions say it:
// "Mon..Fri *-*-* 18:30:00". Of systemd.time(7) this reads weekdays, dates and times with lists,
// ranges and steps, and the words "hourly" to "yearly"; not fractions of seconds, days counted
// from a month's end (~), years of two digits and zones. Pure.
//
//   Units   as people write them: months from 1, days from 1, Sunday is 0.
//   Errors  CalendarExpression::Parse throws std::invalid_argument with a text for people.
#pragma once

#include <bitset>
#include <chrono>
#include <string>
#include <vector>

namespace receiver {

struct YearRange {
    int first = 0;
    int last = 0;
    int step = 1;
};

class CalendarExpression final {
public:
    static CalendarExpression Parse(const std::string& text);

    bool HasDate(std::chrono::year_month_day date) const;

    const std::string& Text() const { return text_; }  // as it was written
    const std::bitset<7>& Weekdays() const { return weekdays_; }
    const std::vector<YearRange>& Years() const { return years_; }  // empty: every year
    const std::bitset<13>& Months() const { return months_; }
    const std::bitset<32>& Days() const { return days_; }
    const std::bitset<24>& Hours() const { return hours_; }
    const std::bitset<60>& Minutes() const { return minutes_; }
    const std::bitset<60>& Seconds() const { return seconds_; }

private:
    CalendarExpression() = default;
    void ReadDate(const std::string& text);
    void ReadTime(const std::string& text);

    std::string text_;
    std::bitset<7> weekdays_;
    std::vector<YearRange> years_;
    std::bitset<13> months_;  // 0 is never set
    std::bitset<32> days_;
    std::bitset<24> hours_;
    std::bitset<60> minutes_;
    std::bitset<60> seconds_;
};

}  // namespace receiver
