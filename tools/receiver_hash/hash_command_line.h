// What the command line of receiver-hash asks for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "command_line/tool_command_line.h"

namespace receiver {

struct HashCommandLine {
    std::vector<std::string> files;
    std::optional<CommandLineAnswer> answer;  // set when there is nothing to hash
};

HashCommandLine ParseHashCommandLine(int argc, const char* const* argv);

}  // namespace receiver
