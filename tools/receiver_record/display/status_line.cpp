#include "receiver_record/display/status_line.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "command_line/duration.h"

namespace receiver {
namespace {

constexpr double kMeterRangeDb = 60;
constexpr double kMeterFall = 0.8;
constexpr double kQuietest = 1.0 / 32768;  // one step of a 16-bit sample
constexpr size_t kMeterColumns = 10;
constexpr size_t kShortMeterColumns = 5;
constexpr size_t kShownIdLength = 16;

struct Segment {
    std::string text;
    int importance;  // 0 is kept longest
};

std::string Number(const char* format, double value) {
    char text[32];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

std::string Level(double peak, bool brief) {
    if (brief) return "[" + RenderLevelMeter(peak, kShortMeterColumns) + "]";
    const std::string db = peak > 0 ? Number("%3.0f dB", 20 * std::log10(peak)) : "-inf dB";
    return "[" + RenderLevelMeter(peak, kMeterColumns) + "] " + db;
}

// One column for each byte, and nothing that a terminal would obey.
std::string Ascii(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

// In the order in which they stand in the line.
std::array<Segment, 7> Segments(const RecordStatus& status, bool brief) {
    std::array<Segment, 7> segments = {{{Ascii(status.state), 0}, {}, {}, {}, {}, {}, {}}};
    if (status.programMs) segments[1] = {FormatClock(*status.programMs), 1};
    if (status.remainingMs) segments[2] = {"-" + FormatClock(*status.remainingMs), 2};
    if (status.peak) segments[3] = {Level(*status.peak, brief), 3};
    if (status.bufferMs) {
        const double seconds = static_cast<double>(*status.bufferMs) / 1000;
        segments[4] = {(brief ? "buf " : "buffer ") + Number("%.1fs", seconds), 5};
    }
    if (!status.matchId.empty()) {
        segments[5] = {
            Ascii(status.matchId.substr(0, kShownIdLength)) + Number(" %.3f", status.matchBer), 4};
    }
    if (status.streamMs) {
        segments[6] = {(brief ? "at " : "stream ") + FormatClock(*status.streamMs), 6};
    }
    return segments;
}

// In one line, two spaces apart.
size_t Length(const std::array<Segment, 7>& segments) {
    size_t length = 0;
    for (const Segment& segment : segments) {
        if (!segment.text.empty()) length += segment.text.size() + (length > 0 ? 2 : 0);
    }
    return length;
}

}  // namespace

std::string RenderStatusLine(const RecordStatus& status, size_t width) {
    std::array<Segment, 7> segments = Segments(status, false);
    if (Length(segments) > width) segments = Segments(status, true);
    std::array<bool, 7> shown = {};
    size_t used = 0;
    for (int importance = 0; importance < 7; ++importance) {
        for (size_t i = 0; i < segments.size(); ++i) {
            const std::string& text = segments[i].text;
            if (text.empty() || segments[i].importance != importance) continue;
            const size_t needed = text.size() + (used > 0 ? 2 : 0);
            shown[i] = used + needed <= width;
            if (shown[i]) used += needed;
        }
    }
    std::string line;
    for (size_t i = 0; i < segments.size(); ++i) {
        if (shown[i]) line += (line.empty() ? "" : "  ") + segments[i].text;
    }
    return line.empty() ? segments[0].text.substr(0, width) : line;
}

double NextMeterPeak(double shown, double peak) {
    const double fallen = shown * kMeterFall;
    return std::max(peak, fallen < kQuietest ? 0 : fallen);
}

std::string RenderLevelMeter(double peak, size_t columns) {
    const double db = peak > 0 ? 20 * std::log10(peak) : -kMeterRangeDb;
    const double part = std::clamp((db + kMeterRangeDb) / kMeterRangeDb, 0.0, 1.0);
    const auto filled = static_cast<size_t>(std::lround(part * static_cast<double>(columns)));
    return std::string(filled, '#') + std::string(columns - filled, '-');
}

}  // namespace receiver
