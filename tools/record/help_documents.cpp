#include "record/help_documents.h"

#include <vector>

#include "record/command_line_app.h"

namespace receiver {
namespace {

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app, const std::string& group) {
    return app.get_options([&](const CLI::Option* option) {
        return option->get_group() == group && !option->get_positional();
    });
}

std::vector<std::string> Groups(const CLI::App& app) {
    std::vector<std::string> shown;
    for (const std::string& group : app.get_groups()) {
        if (!group.empty() && !OptionsOf(app, group).empty()) shown.push_back(group);
    }
    return shown;
}

std::vector<std::string> Names(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

bool TakesValue(const CLI::Option& option) {
    return option.get_expected_max() > 0 && !option.get_type_name().empty();
}

bool TakesFile(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    return type.find("FILE") != std::string::npos || type == "PROGRAM";
}

// What roff would take for its own.
std::string Roff(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\')
            out += "\\e";
        else if (c == '-')
            out += "\\-";
        else if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n'))
            out += std::string("\\&") + c;
        else
            out += c;
    }
    return out;
}

std::string ManOption(const CLI::Option& option) {
    std::string text = ".TP\n";
    for (const std::string& name : Names(option)) {
        text += (text.size() > 4 ? ", \\fB" : "\\fB") + Roff(name) + "\\fR";
    }
    if (TakesValue(option)) text += " \\fI" + Roff(option.get_type_name()) + "\\fR";
    return text + "\n" + Roff(option.get_description()) + ".\n";
}

std::string Manual(const CLI::App& app) {
    std::string text =
        ".TH RECEIVER\\-RECORD 1\n.SH NAME\nreceiver\\-record \\- record one program of an "
        "internet radio stream\n.SH SYNOPSIS\n\\fBreceiver\\-record\\fR [\\fIOPTIONS\\fR] "
        "\\fIURL\\fR \\fB\\-\\-start\\fR \\fIFILE\\fR \\fB\\-o\\fR \\fIFILE\\fR\n.SH "
        "DESCRIPTION\n" +
        Roff(app.get_description()) +
        "\n.PP\nDurations are written as 90s, 55m, 1h30m, 2.5s, 00:55:00, or in seconds. A "
        "recording to listen for can be named: ID=FILE.\n.PP\nThe audio goes to FILE.part, which "
        "is renamed when it is whole. The tags and FILE.json beside it tell the source, the start "
        "and end sample, the matches, the times and why the recording ended. The last tags are "
        "put in by a copy; when the disk has no room for it, the audio keeps its first ones.\n.SH "
        "OPTIONS\n";
    for (const std::string& group : Groups(app)) {
        text += ".SS " + Roff(group) + "\n";
        for (const CLI::Option* option : OptionsOf(app, group)) text += ManOption(*option);
    }
    text += ".SH EXIT STATUS\n";
    for (const ExitCodeMeaning& exit : ExitCodeMeanings()) {
        text += ".TP\n\\fB" + std::to_string(exit.code) + "\\fR\n" + Roff(exit.meaning) + ".\n";
    }
    text +=
        ".SH ENVIRONMENT\n.TP\n\\fBNO_COLOR\\fR\nWhen it is set, nothing is coloured.\n"
        ".SH EXAMPLES\n";
    for (const CommandExample& example : CommandExamples()) {
        text +=
            ".PP\n" + Roff(example.purpose) + ":\n.PP\n.nf\n" + Roff(example.command) + "\n.fi\n";
    }
    text.pop_back();
    return text;
}

std::string Bash(const CLI::App& app) {
    std::string all;
    std::string files;
    std::string values;
    for (const std::string& group : Groups(app)) {
        for (const CLI::Option* option : OptionsOf(app, group)) {
            for (const std::string& name : Names(*option)) {
                all += (all.empty() ? "" : " ") + name;
                std::string& kind = TakesFile(*option) ? files : values;
                if (TakesValue(*option)) kind += (kind.empty() ? "" : "|") + name;
            }
        }
    }
    return "_receiver_record() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
           "    case $previous in\n"
           "        " +
           files +
           "|=)\n"
           "            compopt -o filenames 2>/dev/null\n"
           "            mapfile -t COMPREPLY < <(compgen -f -- \"${word#*=}\")\n"
           "            return ;;\n"
           "        " +
           values +
           ")\n"
           "            COMPREPLY=()\n"
           "            return ;;\n"
           "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"" +
           all +
           "\" -- \"$word\")\n"
           "}\n"
           "complete -F _receiver_record receiver-record";
}

// Text within zsh's 'OPTION[text]:value:action'.
std::string Zsh(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\'')
            out += "'\\''";
        else if (c == '[' || c == ']' || c == ':')
            out += std::string("\\") + c;
        else
            out += c;
    }
    return out;
}

std::string ZshAction(const CLI::Option& option) {
    if (!TakesFile(option)) return "";
    const bool named = option.get_type_name().find('=') != std::string::npos;
    return named ? "{compset -P \"*=\"; _files}" : "_files";
}

std::string Zsh(const CLI::App& app) {
    std::string text = "#compdef receiver-record\n_arguments -s \\\n";
    for (const std::string& group : Groups(app)) {
        for (const CLI::Option* option : OptionsOf(app, group)) {
            for (const std::string& name : Names(*option)) {
                text += "    '*" + name + "[" + Zsh(option->get_description()) + "]";
                if (TakesValue(*option)) {
                    text += ":" + Zsh(option->get_type_name()) + ":" + ZshAction(*option);
                }
                text += "' \\\n";
            }
        }
    }
    return text + "    '1:URL:_urls'";
}

}  // namespace

std::optional<std::string> HelpDocument(const CLI::App& app, const std::string& kind) {
    if (kind == "man") return Manual(app);
    if (kind == "bash") return Bash(app);
    if (kind == "zsh") return Zsh(app);
    return {};
}

}  // namespace receiver
