// What is to be recorded: stations, and the programmes on them. Plain data, as a plan file gives it
// once it has been found without a fault.
//
//   Units  milliseconds.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "receiver_plan/calendar/calendar_expression.h"
#include "receiver_plan/calendar/time_zone.h"

namespace receiver {

struct PlannedStation {
    std::string name;
    std::string url;
    TimeZone zone;
    size_t urlLine = 0;  // of the plan file
};

struct PlannedProgram {
    std::string name;
    size_t station = 0;  // its index
    std::vector<CalendarExpression> when;
    std::vector<std::string> starts, ends, others;   // "[ID=]FILE", with absolute paths
    std::string wait, maximum, minimum, fade, trim;  // as typed; empty where not given
    uint64_t waitMs = 0;
    uint64_t maximumMs = 0;
    std::string folder;              // absolute
    std::string format, fileName;    // "flac" and "%F %H%M": without folder and extension
    std::string run;                 // a command for the shell; may be empty
    std::optional<uint64_t> keepMs;  // nothing: for ever
    unsigned copies = 1;
    size_t line = 0;                       // of the plan file
    std::map<std::string, size_t> lineOf;  // of each key that was given

    // How long a run of it may last.
    uint64_t LongestMs() const { return waitMs + maximumMs; }
    // What was coded with loss differs from copy to copy.
    bool CanBeHealed() const { return copies > 1 && (format == "flac" || format == "wav"); }
    size_t LineOf(const std::string& key) const {
        const auto found = lineOf.find(key);
        return found == lineOf.end() ? line : found->second;
    }
};

// Both in the order of their names.
struct Plan {
    std::string path;
    std::vector<PlannedStation> stations;
    std::vector<PlannedProgram> programs;

    const PlannedStation& StationOf(const PlannedProgram& program) const {
        return stations[program.station];
    }
};

}  // namespace receiver
