#include "command_line/duration.h"

#include <array>
#include <cstdio>

namespace receiver {
namespace {

constexpr uint64_t kMaxMs = 366ULL * 24 * 3600 * 1000;

struct Unit {
    std::string_view name;
    uint64_t ms;
};
// In the order in which they may follow each other.
constexpr std::array<Unit, 4> kUnits = {{{"h", 3600000}, {"m", 60000}, {"s", 1000}, {"ms", 1}}};

// Takes the digits at the front. Nothing without any, or for a number out of reach.
std::optional<uint64_t> TakeNumber(std::string_view& text) {
    uint64_t number = 0;
    size_t digits = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
        number = number * 10 + static_cast<uint64_t>(text[digits] - '0');
        if (number > kMaxMs) return {};
        ++digits;
    }
    if (digits == 0) return {};
    text.remove_prefix(digits);
    return number;
}

// ".25" at the front as thousandths; more digits are cut off. 0 without a point.
std::optional<uint64_t> TakeThousandths(std::string_view& text) {
    if (text.empty() || text[0] != '.') return 0;
    text.remove_prefix(1);
    uint64_t thousandths = 0;
    uint64_t scale = 100;
    size_t digits = 0;
    for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
        thousandths += static_cast<uint64_t>(text[digits] - '0') * scale;
        scale /= 10;
    }
    if (digits == 0) return {};
    text.remove_prefix(digits);
    return thousandths;
}

std::optional<uint64_t> ParseClock(std::string_view text) {
    uint64_t seconds = 0;
    for (int field = 0;; ++field) {
        const std::optional<uint64_t> number = TakeNumber(text);
        if (!number || (field > 0 && *number > 59)) return {};
        seconds = seconds * 60 + *number;
        if (text.empty() || text[0] != ':') {
            const std::optional<uint64_t> thousandths = TakeThousandths(text);
            if (field == 0 || !thousandths || !text.empty()) return {};
            return seconds * 1000 + *thousandths;
        }
        if (field == 2) return {};
        text.remove_prefix(1);
    }
}

size_t UnitAtFront(std::string_view& text) {
    size_t letters = 0;
    while (letters < text.size() && text[letters] >= 'a' && text[letters] <= 'z') ++letters;
    const std::string_view name = text.substr(0, letters);
    text.remove_prefix(letters);
    for (size_t i = 0; i < kUnits.size(); ++i) {
        if (kUnits[i].name == name) return i;
    }
    return kUnits.size();
}

std::optional<uint64_t> ParseUnits(std::string_view text) {
    uint64_t total = 0;
    size_t next = 0;  // the units that may still come
    while (!text.empty()) {
        const std::optional<uint64_t> number = TakeNumber(text);
        const std::optional<uint64_t> thousandths = number ? TakeThousandths(text) : std::nullopt;
        if (!thousandths) return {};
        const size_t unit = text.empty() && next == 0 ? 2 : UnitAtFront(text);
        if (unit < next || unit == kUnits.size()) return {};
        total += *number * kUnits[unit].ms + *thousandths * kUnits[unit].ms / 1000;
        next = unit + 1;
    }
    return next == 0 ? std::nullopt : std::optional(total);
}

}  // namespace

std::optional<uint64_t> ParseDuration(std::string_view text) {
    const std::optional<uint64_t> ms =
        text.find(':') != std::string_view::npos ? ParseClock(text) : ParseUnits(text);
    return ms && *ms <= kMaxMs ? ms : std::nullopt;
}

std::string FormatDuration(uint64_t ms) {
    if (ms == 0) return "0s";
    std::string text;
    for (const Unit& unit : kUnits) {
        if (ms >= unit.ms) text += std::to_string(ms / unit.ms) + std::string(unit.name);
        ms %= unit.ms;
    }
    return text;
}

std::string FormatClock(uint64_t ms) {
    const uint64_t seconds = ms / 1000;
    char text[40];
    std::snprintf(text, sizeof(text), "%02llu:%02u:%02u",
                  static_cast<unsigned long long>(seconds / 3600),
                  static_cast<unsigned>(seconds / 60 % 60), static_cast<unsigned>(seconds % 60));
    return text;
}

std::string FormatPosition(uint64_t ms) {
    char text[8];
    std::snprintf(text, sizeof(text), ".%03u", static_cast<unsigned>(ms % 1000));
    return FormatClock(ms) + text;
}

}  // namespace receiver
