// What "receiver-scan listen" is asked for.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "command_line/tool_description.h"
#include "receiver_scan/listen/programme.h"
#include "wire/prepare_limits.h"

namespace receiver {

// The values as they were typed.
struct ListenValues {
    std::string source;
    std::vector<std::string> starts, ends, others;
    std::string maximum, fade, duration, ioTimeout, nearMisses;
    std::string wordsFile, berFile, reportFile, plotFile;
    bool json = false;
};

struct ListenOptions {
    std::string source;
    std::vector<std::string> starts, ends, others;
    std::optional<ProgrammeLimits> limits;
    std::optional<uint64_t> listenMs;  // nothing: until the source ends
    uint32_t ioTimeoutMs = kDefaultIoTimeoutMs;
    size_t maxNearMisses = 0;                              // of each reference
    std::string wordsFile, berFile, reportFile, plotFile;  // empty: not wanted
    bool json = false;

    bool WantsCurves() const { return !(berFile + reportFile + plotFile).empty(); }
};

// The values outlive the application.
void DeclareListenOptions(CLI::App& app, ListenValues& values);
ToolDescription DescribeListen();

// Throws std::invalid_argument that names the mistake.
ListenOptions CheckListenOptions(const ListenValues& values);

}  // namespace receiver
