// The command line of a tool: its own options, and what every tool answers by itself.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>

#include "command_line/tool_description.h"

namespace receiver {

inline constexpr int kUsageExitCode = 2;

// What is said instead of doing the tool's work.
struct CommandLineAnswer {
    int exitCode = 0;
    std::string text;  // for standard output when the exit code is 0, else for standard error
};

// Declares the tool's own options; what they write to outlives the parsing.
using DeclareOptions = std::function<void(CLI::App&)>;

// Makes of an empty application what ParseToolCommandLine parses with. The tool and what
// the options write to outlive it.
void DeclareTool(CLI::App& app, const ToolDescription& tool, const DeclareOptions& declare);

// Answers --help, --version, a mistake, and the build's "--generate man", "bash" or "zsh".
// Nothing when the tool's work can begin.
std::optional<CommandLineAnswer> ParseToolCommandLine(const ToolDescription& tool,
                                                      const DeclareOptions& declare, int argc,
                                                      const char* const* argv);
// For a mistake that only the tool can see.
CommandLineAnswer UsageError(const ToolDescription& tool, const std::string& text);
// Prints the answer; returns its exit code.
int Give(const CommandLineAnswer& answer);

}  // namespace receiver
