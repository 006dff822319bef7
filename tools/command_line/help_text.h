// How --help looks.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "command_line/tool_description.h"

namespace receiver {

// Breaks descriptions between words, so that the options fit into 80 columns.
std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter(const ToolDescription& tool);
// What stands below the options: notes, examples and exit codes.
std::string HelpFooter(const ToolDescription& tool);

}  // namespace receiver
