// The manual page of a tool, for man. Pure.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "command_line/declared_options.h"
#include "command_line/tool_description.h"

namespace receiver {

// Without a final line feed.
std::string ManualPage(const CLI::App& app, const ToolDescription& tool);
// Of a tool with commands: a section for each of them.
std::string ManualPage(const DeclaredCommand& tool, const std::vector<DeclaredCommand>& commands);

}  // namespace receiver
