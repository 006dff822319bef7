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

std::string FunctionName(const std::string& toolName) {
    std::string name = "_" + toolName;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '-' || c == ' '; }, '_');
    return name;
}

constexpr const char* kBashWords =
    "    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n";

std::string BashFunction(const CLI::App& app, const std::string& name) {
    const OptionNames names = CollectNames(app);
    std::string text = name + "() {\n" + kBashWords + OptionValues(names);
    if (HasFileArgument(app)) {
        text +=
            "    case $word in\n        -*) ;;\n        *)\n" + OfferFiles("$word") + "    esac\n";
    }
    return text + "    mapfile -t COMPREPLY < <(compgen -W \"" + names.all +
           "\" -- \"$word\")\n}\n";
}

std::string ZshArguments(const CLI::App& app) {
    std::string text = "_arguments -s";
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

}  // namespace

std::string BashCompletion(const CLI::App& app, const std::string& toolName) {
    const std::string function = FunctionName(toolName);
    return BashFunction(app, function) + "complete -F " + function + " " + toolName;
}

std::string BashCompletion(const DeclaredCommand& tool,
                           const std::vector<DeclaredCommand>& commands) {
    const std::string toolName = tool.tool->name;
    const std::string function = FunctionName(toolName);
    std::string text;
    std::string first = CollectNames(*tool.app).all;
    std::string cases;
    for (const DeclaredCommand& command : commands) {
        const std::string name = command.tool->name;
        const std::string own = std::string(function).append("_").append(name);
        text += BashFunction(*command.app, own);
        first.append(" ").append(name);
        cases.append("        ").append(name).append(") ").append(own).append(" ;;\n");
    }
    return text + function + "() {\n    COMPREPLY=()\n    if ((COMP_CWORD == 1)); then\n" +
           "        mapfile -t COMPREPLY < <(compgen -W \"" + first +
           "\" -- \"${COMP_WORDS[1]}\")\n        return\n    fi\n" +
           "    case ${COMP_WORDS[1]} in\n" + cases + "    esac\n}\ncomplete -F " + function + " " +
           toolName;
}

std::string ZshCompletion(const CLI::App& app, const std::string& toolName) {
    return "#compdef " + toolName + "\n" + ZshArguments(app);
}

std::string ZshCompletion(const DeclaredCommand& tool,
                          const std::vector<DeclaredCommand>& commands) {
    std::string names;
    std::string cases;
    for (const DeclaredCommand& command : commands) {
        const std::string name = command.tool->name;
        names += " " + name + "\\:\"" + Quoted(command.tool->purpose) + "\"";
        cases += name + ")\n" + ZshArguments(*command.app) + " ;;\n";
    }
    return std::string("#compdef ") + tool.tool->name + "\nif ((CURRENT == 2)); then\n" +
           ZshArguments(*tool.app) + " \\\n    '1:command:((" + names.substr(1) +
           "))'\nreturn\nfi\nwords=(\"${(@)words[2,-1]}\")\n((CURRENT--))\ncase $words[1] in\n" +
           cases + "esac";
}

}  // namespace receiver
