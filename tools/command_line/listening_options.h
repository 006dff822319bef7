// The options that mean the same to every tool that listens: the recordings to listen for, and
// the programme that they begin and end. What is written to outlives the parsing.
//
//   Units  milliseconds.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace receiver {

struct RecordingValues {
    std::vector<std::string>& starts;
    std::vector<std::string>& ends;
    std::vector<std::string>& others;
};

inline constexpr const char* kListenForGroup = "What to listen for";

// --start, --end and --other.
void DeclareRecordings(CLI::App& app, const RecordingValues& values, bool startIsRequired);
// --max and --fade.
void DeclareProgramme(CLI::App& app, std::string& maximum, std::string& fade);

// The value of an option; throws std::invalid_argument that names it.
uint64_t DurationOf(const std::string& option, const std::string& text, uint64_t least,
                    uint64_t most);

}  // namespace receiver
