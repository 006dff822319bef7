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

std::string Synopsis(const ToolDescription& tool) {
    std::string text = Bold(tool.name);
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

std::string Options(const CLI::App& app) {
    std::string text = ".SH ARGUMENTS\n";
    for (const CLI::Option* argument : Arguments(app)) {
        text += Item(Italic(argument->get_name()), Sentence(argument->get_description()));
    }
    text += ".SH OPTIONS\n";
    for (const std::string& group : OptionGroups(app)) {
        text += ".SS " + Roff(group) + "\n";
        for (const CLI::Option* option : OptionsOf(app, group)) text += OptionItem(*option);
    }
    return text;
}

}  // namespace

std::string ManualPage(const CLI::App& app, const ToolDescription& tool) {
    std::string text = ".TH " + Roff(Upper(tool.name)) + " 1\n.SH NAME\n" + Roff(tool.name) +
                       " \\- " + Roff(tool.purpose) + "\n.SH SYNOPSIS\n" + Synopsis(tool) +
                       ".SH DESCRIPTION\n" + Roff(tool.description) + "\n";
    for (const char* note : tool.notes) text += ".PP\n" + Roff(note) + "\n";
    for (const char* detail : tool.details) text += ".PP\n" + Roff(detail) + "\n";
    text += Options(app) + ".SH EXIT STATUS\n";
    for (const ToolExitCode& exit : tool.exitCodes) {
        text += Item(Bold(std::to_string(exit.code)), Sentence(exit.meaning));
    }
    if (!tool.environment.empty()) text += ".SH ENVIRONMENT\n";
    for (const ToolVariable& variable : tool.environment) {
        text += Item(Bold(variable.name), variable.meaning);
    }
    text += ".SH EXAMPLES\n";
    for (const ToolExample& example : tool.examples) {
        text += ".PP\n" + Roff(Sentence(example.purpose)) + "\n.PP\n.nf\n" + Roff(example.command) +
                "\n.fi\n";
    }
    text.pop_back();
    return text;
}

}  // namespace receiver
