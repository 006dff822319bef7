// What stands beside a recording about it, as far as it tells what became of it: the .json of
// receiver-record, or that of "receiver-plan heal". It may come from anywhere. Pure.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace receiver {

using UtcMoment = std::chrono::sys_time<std::chrono::milliseconds>;

struct RecordingRecord {
    bool isComplete = false;
    bool isHealed = false;            // put together from others, and without moments
    std::string outcome;              // of receiver-record
    std::string message;              // why it is not complete; may be empty all the same
    UtcMoment startedAt, finishedAt;  // when it was asked for, and when it was over
    size_t gaps = 0;                  // lost connections within it
    size_t damage = 0;                // damaged places
    double missingSeconds = 0.0;      // of all of them together, as far as it is known
    std::set<std::string> kinds;      // of damage
    std::vector<std::string> copies;  // what it was put together from: file names
};

// What is no such record; the text says why, for people.
class NoRecord : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Throws NoRecord.
RecordingRecord ReadRecord(std::string_view text);

// "2026-03-14T09:27:21.807Z", with or without the part of a second; nothing for any other text.
std::optional<UtcMoment> ParseUtc(std::string_view text);
std::string UtcText(UtcMoment moment);

}  // namespace receiver
