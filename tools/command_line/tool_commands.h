// The command line of a tool that does several things, each by a command of its own:
// "tool command ...". What every tool answers by itself, such a tool answers, too, for
// itself and behind each command.
#pragma once

#include <functional>
#include <vector>

#include "command_line/tool_command_line.h"
#include "command_line/tool_description.h"

namespace receiver {

struct ToolCommand {
    ToolDescription description;  // its name is the word that is typed
    DeclareOptions declare;
    // Does the work with what was parsed, and returns the exit code. Throws
    // std::invalid_argument for a mistake on the command line that only it can see.
    std::function<int()> run;
};

// Answers, or runs the command that the first argument names; returns the exit code.
int RunTool(const ToolDescription& tool, const std::vector<ToolCommand>& commands, int argc,
            const char* const* argv);

// What RunTool says instead of running a command; nothing when one is to run, which is then
// `*chosen` and has its options.
std::optional<CommandLineAnswer> ParseToolCommands(const ToolDescription& tool,
                                                   const std::vector<ToolCommand>& commands,
                                                   int argc, const char* const* argv,
                                                   const ToolCommand** chosen);

}  // namespace receiver
