#include "receiver_plan/calendar/calendar_expression.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "platform/text.h"

namespace receiver {
namespace {

constexpr int kMinYear = 1970;
constexpr int kMaxYear = 2199;

[[noreturn]] void Refuse(const std::string& text) {
    throw std::invalid_argument(text);
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

std::string Quoted(const std::string& text) {
    return '"' + text + '"';
}

int NumberOf(const std::string& text, const std::string& what) {
    if (text.empty() || text.size() > 4 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        Refuse(Quoted(text) + " is not a number of the " + what);
    }
    return std::stoi(text);
}

// A part such as "*", "5", "1,15", "8..18" or "0/10".
struct Field {
    const char* name;
    int least;
    int most;
};

// "8..18/2" of a list; a step without an end goes on to the last value that there is.
YearRange ReadRange(const std::string& item, const Field& field) {
    const std::vector<std::string> stepped = Split(item, '/');
    if (stepped.size() > 2) Refuse(Quoted(item) + " has two steps");
    const size_t dots = stepped[0].find("..");
    YearRange range;
    if (stepped[0] == "*") {
        Refuse(Quoted(item) + ": a step counts from a number; write " +
               Quoted(std::to_string(field.least) + "/" + stepped.back()));
    }
    range.first = NumberOf(stepped[0].substr(0, dots), field.name);
    range.last = range.first;
    if (dots != std::string::npos) {
        range.last = NumberOf(stepped[0].substr(dots + 2), field.name);
    } else if (stepped.size() == 2) {
        range.last = field.most;
    }
    if (stepped.size() == 2) range.step = NumberOf(stepped[1], "step");
    if (range.step == 0) Refuse(Quoted(item) + " has a step of 0");
    if (range.first < field.least || std::max(range.first, range.last) > field.most) {
        Refuse(Quoted(item) + " is not between " + std::to_string(field.least) + " and " +
               std::to_string(field.most) + ", the " + field.name + "s that there are");
    }
    if (range.last < range.first) {
        Refuse(Quoted(item) + " ends before it begins; write two ranges with a comma between them");
    }
    return range;
}

std::vector<YearRange> ReadRanges(const std::string& text, const Field& field) {
    std::vector<YearRange> ranges;
    if (text == "*") return ranges;
    const std::vector<std::string> items = Split(text, ',');
    ranges.reserve(items.size());
    for (const std::string& item : items) ranges.push_back(ReadRange(item, field));
    return ranges;
}

template <size_t kSize>
std::bitset<kSize> ReadNumbers(const std::string& text, const Field& field) {
    std::vector<YearRange> ranges = ReadRanges(text, field);
    if (ranges.empty()) ranges.push_back({field.least, field.most, 1});
    std::bitset<kSize> numbers;
    for (const YearRange& range : ranges) {
        for (int number = range.first; number <= range.last; number += range.step) {
            numbers.set(static_cast<size_t>(number));
        }
    }
    return numbers;
}

// From Monday on, as systemd counts them in ranges.
constexpr std::array<std::pair<std::string_view, std::string_view>, 7> kDayNames = {
    {{"mon", "monday"},
     {"tue", "tuesday"},
     {"wed", "wednesday"},
     {"thu", "thursday"},
     {"fri", "friday"},
     {"sat", "saturday"},
     {"sun", "sunday"}}};

size_t DayOf(const std::string& text) {
    const std::string name = ToLowerAscii(text);
    for (size_t day = 0; day < kDayNames.size(); ++day) {
        if (name == kDayNames[day].first || name == kDayNames[day].second) return day;
    }
    Refuse(Quoted(text) + " is not a day of the week; write Mon, Tue, Wed, Thu, Fri, Sat or Sun");
}

std::bitset<7> ReadWeekdays(const std::string& text) {
    std::bitset<7> days;
    for (const std::string& item : Split(text, ',')) {
        const size_t dots = item.find("..");
        if (dots == std::string::npos && item.find('-') != std::string::npos) {
            Refuse(Quoted(item) + ": a range of days is written with two dots, as Mon..Fri");
        }
        const size_t first = DayOf(item.substr(0, dots));
        const size_t last = dots == std::string::npos ? first : DayOf(item.substr(dots + 2));
        if (last < first) {
            Refuse(Quoted(item) +
                   " ends before it begins: weeks begin with Monday; write two "
                   "ranges with a comma between them");
        }
        for (size_t day = first; day <= last; ++day) days.set((day + 1) % 7);
    }
    return days;
}

bool StartsWithLetter(const std::string& text) {
    return !text.empty() && ToLowerAscii(text[0]) >= 'a' && ToLowerAscii(text[0]) <= 'z';
}

std::optional<std::string> WrittenOut(const std::string& text) {
    static constexpr std::array<std::pair<std::string_view, const char*>, 7> kWords = {
        {{"hourly", "*-*-* *:00:00"},
         {"daily", "*-*-* 00:00:00"},
         {"weekly", "Mon *-*-* 00:00:00"},
         {"monthly", "*-*-01 00:00:00"},
         {"quarterly", "*-01,04,07,10-01 00:00:00"},
         {"semiannually", "*-01,07-01 00:00:00"},
         {"yearly", "*-01-01 00:00:00"}}};
    for (const auto& [word, meaning] : kWords) {
        if (text == word) return meaning;
    }
    return {};
}

}  // namespace

void CalendarExpression::ReadDate(const std::string& text) {
    if (text.find('~') != std::string::npos) {
        Refuse(Quoted(text) + ": days counted from the end of a month are not understood");
    }
    std::vector<std::string> parts = Split(text, '-');
    if (parts.size() == 2) parts.insert(parts.begin(), "*");
    if (parts.size() != 3) Refuse(Quoted(text) + " is not a date; write YEAR-MONTH-DAY, as *-*-01");
    years_ = ReadRanges(parts[0], {"year", kMinYear, kMaxYear});
    months_ = ReadNumbers<13>(parts[1], {"month", 1, 12});
    days_ = ReadNumbers<32>(parts[2], {"day", 1, 31});
}

void CalendarExpression::ReadTime(const std::string& text) {
    if (text.find('.') != std::string::npos && text.find("..", text.find('.')) != text.find('.')) {
        Refuse(Quoted(text) + ": fractions of a second are not understood");
    }
    std::vector<std::string> parts = Split(text, ':');
    if (parts.size() == 2) parts.emplace_back("0");
    if (parts.size() != 3) Refuse(Quoted(text) + " is not a time; write HH:MM or HH:MM:SS");
    hours_ = ReadNumbers<24>(parts[0], {"hour", 0, 23});
    minutes_ = ReadNumbers<60>(parts[1], {"minute", 0, 59});
    seconds_ = ReadNumbers<60>(parts[2], {"second", 0, 59});
}

CalendarExpression CalendarExpression::Parse(const std::string& text) {
    CalendarExpression expression;
    expression.text_ = text;
    std::vector<std::string> words;
    for (std::string& word : Split(WrittenOut(text).value_or(text), ' ')) {
        if (!word.empty()) words.push_back(std::move(word));
    }
    if (words.empty()) Refuse("it is empty; write a time, as Mon..Fri 18:30");
    size_t next = 0;
    if (StartsWithLetter(words[0])) {
        expression.weekdays_ = ReadWeekdays(words[next++]);
    } else {
        expression.weekdays_.set();
    }
    const bool hasDate = next < words.size() && words[next].find(':') == std::string::npos;
    if (hasDate && StartsWithLetter(words[next])) {
        Refuse(Quoted(words[next]) + ": days of the week are one word, without blanks");
    }
    expression.ReadDate(hasDate ? words[next++] : "*-*-*");
    const bool hasTime = next < words.size() && words[next].find(':') != std::string::npos;
    expression.ReadTime(hasTime ? words[next++] : "00:00:00");
    if (next < words.size()) {
        Refuse(Quoted(words[next]) + " is too much; the time zone is the station's");
    }
    return expression;
}

bool CalendarExpression::HasDate(std::chrono::year_month_day date) const {
    const int year = static_cast<int>(date.year());
    const bool inYears =
        years_.empty() || std::any_of(years_.begin(), years_.end(), [&](const YearRange& range) {
            return year >= range.first && year <= range.last &&
                   (year - range.first) % range.step == 0;
        });
    const unsigned weekday = std::chrono::weekday(std::chrono::sys_days(date)).c_encoding();
    return inYears && months_[static_cast<unsigned>(date.month())] &&
           days_[static_cast<unsigned>(date.day())] && weekdays_[weekday];
}

}  // namespace receiver
