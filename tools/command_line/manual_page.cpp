#include "command_line/manual_page.h"

#include <sstream>

#include "command_line/declared_options.h"

namespace receiver {
namespace {

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

std::string Bold(const std::string& text) {
    return "\\fB" + Roff(text) + "\\fR";
}

std::string Italic(const std::string& text) {
    return "\\fI" + Roff(text) + "\\fR";
}

std::string Upper(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return text;
}

std::string Sentence(const std::string& text) {
    return Upper(text.substr(0, 1)) + text.substr(1) + ".";
}

// Options are typed as they are; names in capitals stand for something.
std::string UsageWord(const std::string& word) {
    if (word[0] == '-') return Bold(word);
    const auto isCapital = [](char c) { return c >= 'A' && c <= 'Z'; };
    std::string text;
    for (size_t at = 0; at < word.size();) {
        size_t end = at;
        while (end < word.size() && isCapital(word[end]) == isCapital(word[at])) ++end;
        const std::string piece = word.substr(at, end - at);
        text += isCapital(word[at]) ? Italic(piece) : Roff(piece);
        at = end;
    }
    return text;
}

std::string Synopsis(const std::string& name, const ToolDescription& tool) {
    std::string text = Bold(name);
    std::istringstream words(tool.usage);
    for (std::string word; words >> word;) text += " " + UsageWord(word);
    return text + "\n";
}

std::string Item(const std::string& head, const std::string& body) {
    return ".TP\n" + head + "\n" + Roff(body) + "\n";
}

std::string OptionItem(const CLI::Option& option) {
    std::string head;
    for (const std::string& name : Names(option)) head += (head.empty() ? "" : ", ") + Bold(name);
    if (TakesValue(option)) head += " " + Italic(option.get_type_name());
    return Item(head, Sentence(option.get_description()));
}

std::string ArgumentItems(const CLI::App& app) {
    std::string text;
    for (const CLI::Option* argument : Arguments(app)) {
        text += Item(Italic(argument->get_name()), Sentence(argument->get_description()));
    }
    return text;
}

std::string OptionItems(const CLI::App& app) {
    std::string text;
    for (const std::string& group : OptionGroups(app)) {
        text += ".SS " + Roff(group) + "\n";
        for (const CLI::Option* option : OptionsOf(app, group)) text += OptionItem(*option);
    }
    return text;
}

std::string Title(const ToolDescription& tool) {
    return ".TH " + Roff(Upper(tool.name)) + " 1\n.SH NAME\n" + Roff(tool.name) + " \\- " +
           Roff(tool.purpose) + "\n.SH SYNOPSIS\n";
}

std::string Description(const ToolDescription& tool) {
    std::string text = Roff(tool.description) + "\n";
    for (const char* note : tool.notes) text += ".PP\n" + Roff(note) + "\n";
    for (const char* detail : tool.details) text += ".PP\n" + Roff(detail) + "\n";
    return text;
}

std::string ExitCodes(const ToolDescription& tool) {
    std::string text;
    for (const ToolExitCode& exit : tool.exitCodes) {
        text += Item(Bold(std::to_string(exit.code)), Sentence(exit.meaning));
    }
    return text;
}

std::string Environment(const ToolDescription& tool) {
    std::string text = tool.environment.empty() ? "" : ".SH ENVIRONMENT\n";
    for (const ToolVariable& variable : tool.environment) {
        text += Item(Bold(variable.name), variable.meaning);
    }
    return text;
}

std::string Examples(const ToolDescription& tool) {
    std::string text;
    for (const ToolExample& example : tool.examples) {
        text += ".PP\n" + Roff(Sentence(example.purpose)) + "\n.PP\n.nf\n" + Roff(example.command) +
                "\n.fi\n";
    }
    return text;
}

std::string WithoutLastLineFeed(std::string text) {
    text.pop_back();
    return text;
}

}  // namespace

std::string ManualPage(const CLI::App& app, const ToolDescription& tool) {
    return WithoutLastLineFeed(Title(tool) + Synopsis(tool.name, tool) + ".SH DESCRIPTION\n" +
                               Description(tool) + ".SH ARGUMENTS\n" + ArgumentItems(app) +
                               ".SH OPTIONS\n" + OptionItems(app) + ".SH EXIT STATUS\n" +
                               ExitCodes(tool) + Environment(tool) + ".SH EXAMPLES\n" +
                               Examples(tool));
}

std::string ManualPage(const DeclaredCommand& tool, const std::vector<DeclaredCommand>& commands) {
    std::string text = Title(*tool.tool);
    for (const DeclaredCommand& command : commands) {
        if (&command != &commands.front()) text += ".br\n";
        text += Synopsis(std::string(tool.tool->name) + " " + command.tool->name, *command.tool);
    }
    text += ".SH DESCRIPTION\n" + Description(*tool.tool) + ".SH OPTIONS\n" +
            OptionItems(*tool.app) + ".SH COMMANDS\n";
    for (const DeclaredCommand& command : commands) {
        text += Item(Bold(command.tool->name), Sentence(command.tool->purpose));
    }
    for (const DeclaredCommand& command : commands) {
        text += ".SH " + Roff(Upper(command.tool->name)) + "\n" + Description(*command.tool) +
                ArgumentItems(*command.app) + OptionItems(*command.app) + ".SS Exit status\n" +
                ExitCodes(*command.tool) + ".SS Examples\n" + Examples(*command.tool);
    }
    return WithoutLastLineFeed(text + Environment(*tool.tool));
}

}  // namespace receiver
