// The completions of a tool, for bash and zsh. Pure.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "command_line/declared_options.h"

namespace receiver {

// Without a final line feed.
std::string BashCompletion(const CLI::App& app, const std::string& toolName);
std::string ZshCompletion(const CLI::App& app, const std::string& toolName);

// Of a tool with commands: its own options and theirs, each behind its command.
std::string BashCompletion(const DeclaredCommand& tool,
                           const std::vector<DeclaredCommand>& commands);
std::string ZshCompletion(const DeclaredCommand& tool,
                          const std::vector<DeclaredCommand>& commands);

}  // namespace receiver
