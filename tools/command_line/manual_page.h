// The manual page of a tool, for man. Pure.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "command_line/tool_description.h"

namespace receiver {

// Without a final line feed.
std::string ManualPage(const CLI::App& app, const ToolDescription& tool);

}  // namespace receiver
