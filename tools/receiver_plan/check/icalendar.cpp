#include "receiver_plan/check/icalendar.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace receiver {

using namespace std::chrono;

namespace {

constexpr size_t kMaxLineBytes = 75;

// A line ends in CR LF, and what is longer goes on after a blank, between two characters.
void AppendLine(std::string& calendar, std::string_view line) {
    size_t room = kMaxLineBytes;
    while (line.size() > room) {
        size_t end = room;
        while ((static_cast<unsigned char>(line[end]) & 0xC0) == 0x80) --end;
        calendar += std::string(line.substr(0, end)) + "\r\n ";
        line.remove_prefix(end);
        room = kMaxLineBytes - 1;
    }
    calendar += std::string(line) + "\r\n";
}

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\\' || c == ';' || c == ',') escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string UtcText(sys_seconds time) {
    const year_month_day date(floor<days>(time));
    const hh_mm_ss clock(time - floor<days>(time));
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d%02u%02uT%02d%02d%02dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text.data();
}

}  // namespace

std::string ICalendar(const Plan& plan, const std::vector<PlannedRun>& runs) {
    std::string calendar;
    for (const char* line : {"BEGIN:VCALENDAR", "VERSION:2.0",
                             "PRODID:-//ReceiverHost//"
                             "receiver-plan//EN"}) {
        AppendLine(calendar, line);
    }
    for (const PlannedRun& run : runs) {
        const PlannedProgram& program = plan.programs[run.program];
        const PlannedStation& station = plan.StationOf(program);
        const std::string start = UtcText(run.start);
        AppendLine(calendar, "BEGIN:VEVENT");
        AppendLine(calendar, "UID:" + start + "-" + program.name + "@receiver-plan");
        AppendLine(calendar, "DTSTAMP:" + start);
        AppendLine(calendar, "DTSTART:" + start);
        AppendLine(calendar, "DTEND:" + UtcText(run.latestEnd));
        AppendLine(calendar, "SUMMARY:" + Escaped(program.name + " (" + station.name + ")"));
        AppendLine(calendar, "END:VEVENT");
    }
    AppendLine(calendar, "END:VCALENDAR");
    return calendar;
}

}  // namespace receiver
