// The command line of receiver-record, declared once: parsing, --help, the manual
// page and the shell completions all come from it.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "command_line/tool_description.h"
#include "receiver_record/request/connection_options.h"
#include "receiver_record/request/encoder_options.h"
#include "receiver_record/request/metrics_options.h"
#include "receiver_record/request/schedule_options.h"

namespace receiver {

// What --trim takes.
inline constexpr const char* kTrimStart = "start";
inline constexpr const char* kTrimEnd = "end";
inline constexpr const char* kTrimBoth = "both";

// The values as they were typed.
struct CommandLineValues {
    std::string url;
    std::string output;
    std::vector<std::string> starts, ends, others;
    std::string maximum, minimum, fade, trim, wait, ioTimeout;
    std::string block;
    ScheduleValues schedule;
    ConnectionValues connection;
    EncoderValues encoder;
    MetricsValues metrics;
    std::string control, receiver, log;
    bool json = false, quiet = false, verbose = false, force = false;
};

// The values outlive the application.
void DeclareCommandLine(CLI::App& app, CommandLineValues& values);

const ToolDescription& RecordTool();

}  // namespace receiver
