#include "receiver_record/request/file_name.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <functional>
#include <optional>
#include <string_view>

#include "audio_output/part_file.h"
#include "platform/text.h"

namespace receiver {
namespace {

constexpr size_t kMaxValueBytes = 120;
constexpr unsigned kMaxFreeNames = 100000;

using namespace std::chrono;

year_month_day DateOf(const LocalTime& time) {
    return {year(static_cast<int>(time.year)), month(time.month), day(time.day)};
}

std::string Digits(const char* format, unsigned number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), format, number);
    return text.data();
}

std::string DayName(const LocalTime& time) {
    static constexpr std::array<const char*, 7> kNames = {
        "Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    return kNames.at(weekday(sys_days(DateOf(time))).c_encoding());
}

std::string MonthName(const LocalTime& time) {
    static constexpr std::array<const char*, 12> kNames = {
        "January", "February", "March",     "April",   "May",      "June",
        "July",    "August",   "September", "October", "November", "December"};
    return kNames.at((time.month + 11) % 12);
}

unsigned DayOfYear(const LocalTime& time) {
    const sys_days first = year_month_day(year(static_cast<int>(time.year)), January, day(1));
    return static_cast<unsigned>((sys_days(DateOf(time)) - first).count()) + 1;
}

std::optional<std::string> TimeField(char letter, const LocalTime& time) {
    switch (letter) {
        case 'Y':
            return Digits("%04u", time.year);
        case 'y':
            return Digits("%02u", time.year % 100);
        case 'm':
            return Digits("%02u", time.month);
        case 'd':
            return Digits("%02u", time.day);
        case 'H':
            return Digits("%02u", time.hour);
        case 'M':
            return Digits("%02u", time.minute);
        case 'S':
            return Digits("%02u", time.second);
        case 'j':
            return Digits("%03u", DayOfYear(time));
        case 'F':
            return Digits("%04u-", time.year) + Digits("%02u-", time.month) +
                   Digits("%02u", time.day);
        case 'a':
            return DayName(time).substr(0, 3);
        case 'A':
            return DayName(time);
        case 'b':
            return MonthName(time).substr(0, 3);
        case 'B':
            return MonthName(time);
        default:
            return {};
    }
}

// As a part of a file's name on every system.
std::string Harmless(const std::string& value, const char* whenEmpty) {
    std::string text = ReplaceIllFormedUtf8(value);
    for (char& c : text) {
        const bool isReserved = std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos;
        if (isReserved || static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '_';
    }
    if (text.size() > kMaxValueBytes) {
        size_t end = kMaxValueBytes;  // between two characters
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
        text.resize(end);
    }
    const size_t first = text.find_first_not_of(" .");
    if (first == std::string::npos) return whenEmpty;
    return text.substr(first, text.find_last_not_of(" .") - first + 1);
}

std::optional<std::string> WordField(std::string_view word, const NameFacts& facts) {
    if (word == "{id}") return Harmless(facts.id, "now");
    if (word == "{title}") return Harmless(facts.title, "untitled");
    if (word == "{n}") return std::to_string(facts.number);
    return {};
}

// The field that begins the text, with its length in the name; nothing where none does.
struct Field {
    std::string value;
    size_t length;
    bool isPlain = false;  // "%%"
};

std::optional<Field> FieldAt(std::string_view text, const NameFacts& facts) {
    if (text.size() > 1 && text[0] == '%') {
        if (text[1] == '%') return Field{"%", 2, true};
        if (auto value = TimeField(text[1], facts.start)) return Field{*value, 2};
    }
    if (text[0] == '{') {
        const size_t end = text.find('}');
        const std::string_view word = text.substr(0, end == std::string_view::npos ? 0 : end + 1);
        if (auto value = WordField(word, facts)) return Field{*value, word.size()};
    }
    return {};
}

std::string Filled(std::string_view name, const NameFacts& facts, bool* hasFields) {
    std::string filled;
    while (!name.empty()) {
        if (const std::optional<Field> field = FieldAt(name, facts)) {
            filled += field->value;
            name.remove_prefix(field->length);
            if (!field->isPlain) *hasFields = true;
        } else {
            filled += name[0];
            name.remove_prefix(1);
        }
    }
    return filled;
}

bool IsNameTaken(const std::string& name) {
    return IsTaken(ToFilesystemPath(name)) || IsTaken(ToFilesystemPath(name + ".json")) ||
           IsTaken(ToFilesystemPath(name + ".part"));
}

}  // namespace

bool HasFields(const std::string& name) {
    const NameFacts any{.start = {2000, 1, 1, 0, 0, 0, 0}, .id = {}, .title = {}, .number = 1};
    bool hasFields = false;
    Filled(name, any, &hasFields);
    return hasFields;
}

// A name without fields is a file's name as it stands.
std::string FillFields(const std::string& name, const NameFacts& facts) {
    bool hasFields = false;
    const std::string filled = Filled(name, facts, &hasFields);
    return hasFields ? filled : name;
}

std::string FreeName(const std::string& name) {
    const size_t slash = name.find_last_of("/\\");
    const size_t dot = name.rfind('.');
    const bool hasExtension =
        dot != std::string::npos && (slash == std::string::npos || dot > slash);
    const size_t end = hasExtension ? dot : name.size();
    std::string free = name;
    for (unsigned n = 2; IsNameTaken(free) && n < kMaxFreeNames; ++n) {
        free = name.substr(0, end) + "-" + std::to_string(n) + name.substr(end);
    }
    return free;
}

}  // namespace receiver
