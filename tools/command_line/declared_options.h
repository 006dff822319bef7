// Questions about the options of a CLI::App, for what is generated from them. Pure.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "command_line/tool_description.h"

namespace receiver {

// A command of a tool, or the tool that has them. Borrowed: both outlive what is made of them.
struct DeclaredCommand {
    const CLI::App* app;
    const ToolDescription* tool;  // its name is that of the command alone
};

// The groups that have options to show, in the order of their declaration.
std::vector<std::string> OptionGroups(const CLI::App& app);
std::vector<const CLI::Option*> OptionsOf(const CLI::App& app, const std::string& group);
std::vector<const CLI::Option*> Arguments(const CLI::App& app);  // those without a hyphen

std::vector<std::string> Names(const CLI::Option& option);  // "-o", "--output"
bool TakesValue(const CLI::Option& option);
bool TakesFile(const CLI::Option& option);  // of an argument, too
bool IsRepeated(const CLI::Option& argument);

}  // namespace receiver
