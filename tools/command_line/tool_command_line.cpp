#include "command_line/tool_command_line.h"

#include <string_view>

#include "command_line/help_text.h"
#include "command_line/manual_page.h"
#include "command_line/public_url.h"
#include "command_line/shell_completions.h"
#include "command_line/tool_version.h"
#include "platform/standard_streams.h"

namespace receiver {

void DeclareTool(CLI::App& app, const ToolDescription& tool, const DeclareOptions& declare) {
    const char* const group = "Other";
    app.name(tool.name);
    app.description(tool.description);
    app.footer(HelpFooter(tool));
    app.formatter(MakeHelpFormatter(tool));
    app.set_help_flag();  // comes behind the tool's own
    declare(app);
    app.set_help_flag("-h,--help", "Print this help")->group(group);
    app.set_version_flag("--version", VersionText(tool.name), "Print the version and the licence")
        ->group(group);
}

namespace {

CommandLineAnswer Document(const CLI::App& app, const ToolDescription& tool,
                           std::string_view kind) {
    if (kind == "man") return {0, ManualPage(app, tool)};
    if (kind == "bash") return {0, BashCompletion(app, tool.name)};
    if (kind == "zsh") return {0, ZshCompletion(app, tool.name)};
    return UsageError(tool, "--generate takes man, bash or zsh");
}

}  // namespace

std::optional<CommandLineAnswer> ParseToolCommandLine(const ToolDescription& tool,
                                                      const DeclareOptions& declare, int argc,
                                                      const char* const* argv) {
    CLI::App app;
    DeclareTool(app, tool, declare);
    if (argc == 3 && argv[1] == std::string_view("--generate")) {
        return Document(app, tool, argv[2]);
    }
    try {
        app.parse(argc, argv);
        return {};
    } catch (const CLI::CallForHelp&) {
        std::string help = app.help();
        while (!help.empty() && help.back() == '\n') help.pop_back();
        return CommandLineAnswer{0, help};
    } catch (const CLI::CallForVersion& version) {
        return CommandLineAnswer{0, version.what()};
    } catch (const CLI::ParseError& error) {
        return UsageError(tool, WithPublicUrls(error.what(), argc, argv));
    }
}

CommandLineAnswer UsageError(const ToolDescription& tool, const std::string& text) {
    const std::string name = tool.name;
    return {kUsageExitCode, name + ": " + text + "\nTry \"" + name + " --help\" for more."};
}

int Give(const CommandLineAnswer& answer) {
    if (answer.exitCode == 0) {
        WriteStandardOutputLine(answer.text);
    } else {
        WriteStandardErrorLine(answer.text);
    }
    return answer.exitCode;
}

}  // namespace receiver
