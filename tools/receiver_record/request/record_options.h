// What the command line of receiver-record asks for.
//
//   Units  times ms.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "command_line/tool_command_line.h"
#include "receiver_client/messages.h"
#include "receiver_record/cut/cut_plan.h"
#include "receiver_record/request/connection_options.h"
#include "receiver_record/request/encoder_options.h"
#include "receiver_record/request/metrics_options.h"
#include "receiver_record/request/schedule_options.h"

namespace receiver {

struct RecordOptions {
    std::string url;
    std::string output;                 // a file (see file_name.h), or "-" for standard output
    std::vector<Reference> references;  // with absolute paths and ids of their own
    CutLimits limits;                   // of the programme
    std::optional<uint32_t> ioTimeoutMs;
    std::optional<uint32_t> blockBytes;
    std::optional<uint64_t> waitMs;  // for the start reference
    ScheduleOptions schedule;
    ConnectionOptions connection;
    EncoderOptions encoder;
    MetricsOptions metrics;
    std::string controlUri;       // of a running receiver; empty starts one
    std::string receiverProgram;  // empty: the one beside this program
    std::string logPath;          // empty: one in LogFolder
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    bool force = false;

    bool ToStandardOutput() const { return output == "-"; }
};

struct CommandLine {
    RecordOptions options;
    std::optional<CommandLineAnswer> answer;  // set when there is nothing to record
};

CommandLine ParseCommandLine(int argc, const char* const* argv);

}  // namespace receiver
