#include "command_line/tool_commands.h"

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <string>
#include <string_view>

#include "command_line/manual_page.h"
#include "command_line/shell_completions.h"

namespace receiver {
namespace {

constexpr size_t kPurposeColumn = 12;

std::string FullName(const ToolDescription& tool, const ToolCommand& command) {
    return std::string(tool.name) + " " + command.description.name;
}

// As help and mistakes name a command: with the tool before it. `name` outlives it.
ToolDescription Behind(const ToolCommand& command, const std::string& name) {
    ToolDescription description = command.description;
    description.name = name.c_str();
    return description;
}

std::string ListOf(const std::vector<ToolCommand>& commands) {
    std::string text = "Commands:";
    for (const ToolCommand& command : commands) {
        std::string name = command.description.name;
        name.resize(std::max(name.size() + 1, kPurposeColumn), ' ');
        text += "\n  " + name + command.description.purpose;
    }
    return text;
}

CommandLineAnswer CommandsDocument(const ToolDescription& tool,
                                   const std::vector<ToolCommand>& commands,
                                   std::string_view kind) {
    CLI::App own;
    DeclareTool(own, tool, [](CLI::App&) {});
    std::deque<CLI::App> apps;
    std::vector<DeclaredCommand> declared;
    for (const ToolCommand& command : commands) {
        DeclareTool(apps.emplace_back(), command.description, command.declare);
        declared.push_back({&apps.back(), &command.description});
    }
    const DeclaredCommand whole{&own, &tool};
    if (kind == "man") return {0, ManualPage(whole, declared)};
    if (kind == "bash") return {0, BashCompletion(whole, declared)};
    if (kind == "zsh") return {0, ZshCompletion(whole, declared)};
    return UsageError(tool, "--generate takes man, bash or zsh");
}

}  // namespace

std::optional<CommandLineAnswer> ParseToolCommands(const ToolDescription& tool,
                                                   const std::vector<ToolCommand>& commands,
                                                   int argc, const char* const* argv,
                                                   const ToolCommand** chosen) {
    const std::string_view first = argc > 1 ? argv[1] : "";
    for (const ToolCommand& command : commands) {
        if (first != command.description.name) continue;
        *chosen = &command;
        const std::string name = FullName(tool, command);
        return ParseToolCommandLine(Behind(command, name), command.declare, argc - 1, argv + 1);
    }
    if (argc == 3 && first == "--generate") return CommandsDocument(tool, commands, argv[2]);
    if (first.empty()) return UsageError(tool, "a command is missing");
    if (first[0] != '-') return UsageError(tool, "no command \"" + std::string(first) + "\"");
    const std::string list = ListOf(commands);
    ToolDescription described = tool;
    described.notes.insert(described.notes.begin(), list.c_str());
    const auto answer = ParseToolCommandLine(
        described, [](CLI::App&) {}, argc, argv);
    return answer ? answer : UsageError(tool, "a command is missing");
}

int RunTool(const ToolDescription& tool, const std::vector<ToolCommand>& commands, int argc,
            const char* const* argv) {
    const ToolCommand* chosen = nullptr;
    if (const auto answer = ParseToolCommands(tool, commands, argc, argv, &chosen)) {
        return Give(*answer);
    }
    try {
        return chosen->run();
    } catch (const std::invalid_argument& mistake) {
        const std::string name = FullName(tool, *chosen);
        return Give(UsageError(Behind(*chosen, name), mistake.what()));
    }
}

}  // namespace receiver
