#include "command_line/shell_completions.h"

#include <algorithm>

#include "command_line/declared_options.h"

namespace receiver {
namespace {

struct OptionNames {
    std::string all;     // separated by spaces
    std::string files;   // of those that are followed by a file, separated by "|"
    std::string values;  // of those that are followed by anything else
};

OptionNames CollectNames(const CLI::App& app) {
    OptionNames names;
    for (const std::string& group : OptionGroups(app)) {
        for (const CLI::Option* option : OptionsOf(app, group)) {
            std::string& kind = TakesFile(*option) ? names.files : names.values;
            for (const std::string& name : Names(*option)) {
                names.all += (names.all.empty() ? "" : " ") + name;
                if (TakesValue(*option)) kind += (kind.empty() ? "" : "|") + name;
            }
        }
    }
    return names;
}

bool HasFileArgument(const CLI::App& app) {
    const std::vector<const CLI::Option*> arguments = Arguments(app);
    return std::any_of(arguments.begin(), arguments.end(),
                       [](const CLI::Option* argument) { return TakesFile(*argument); });
}

// `typed` is the shell's expression for what has been typed of the name.
std::string OfferFiles(const std::string& typed) {
    return "            compopt -o filenames 2>/dev/null\n"
           "            mapfile -t COMPREPLY < <(compgen -f -- \"" +
           typed +
           "\")\n"
           "            return ;;\n";
}

// "=" is a word of its own before the file of ID=FILE.
std::string OptionValues(const OptionNames& names) {
    if (names.files.empty() && names.values.empty()) return "";
    std::string text = "    case $previous in\n";
    if (!names.files.empty()) text += "        " + names.files + "|=)\n" + OfferFiles("${word#*=}");
    if (!names.values.empty()) {
        text += "        " + names.values +
                ")\n"
                "            COMPREPLY=()\n"
                "            return ;;\n";
    }
    return text + "    esac\n";
}

// Text within zsh's 'OPTION[text]:value:action'.
std::string Quoted(const std::string& text) {
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

std::string ZshArgument(const CLI::Option& argument, size_t number) {
    const std::string place = IsRepeated(argument) ? "*" : std::to_string(number);
    return "'" + place + ":" + Quoted(argument.get_name()) + ":" +
           (TakesFile(argument) ? "_files" : "_urls") + "'";
}

}  // namespace

std::string BashCompletion(const CLI::App& app, const std::string& toolName) {
    const OptionNames names = CollectNames(app);
    std::string function = "_" + toolName;
    std::replace(function.begin(), function.end(), '-', '_');
    std::string text =
        function +
        "() {\n"
        "    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n" +
        OptionValues(names);
    if (HasFileArgument(app)) {
        text +=
            "    case $word in\n        -*) ;;\n        *)\n" + OfferFiles("$word") + "    esac\n";
    }
    return text + "    mapfile -t COMPREPLY < <(compgen -W \"" + names.all + "\" -- \"$word\")\n" +
           "}\ncomplete -F " + function + " " + toolName;
}

std::string ZshCompletion(const CLI::App& app, const std::string& toolName) {
    std::string text = "#compdef " + toolName + "\n_arguments -s";
    for (const std::string& group : OptionGroups(app)) {
        for (const CLI::Option* option : OptionsOf(app, group)) {
            for (const std::string& name : Names(*option)) {
                text += " \\\n    '*" + name + "[" + Quoted(option->get_description()) + "]";
                if (TakesValue(*option)) {
                    text += ":" + Quoted(option->get_type_name()) + ":" + ZshAction(*option);
                }
                text += "'";
            }
        }
    }
    size_t number = 0;
    for (const CLI::Option* argument : Arguments(app)) {
        text += " \\\n    " + ZshArgument(*argument, ++number);
    }
    return text;
}

}  // namespace receiver
