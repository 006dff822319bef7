#include "command_line/declared_options.h"

namespace receiver {

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app, const std::string& group) {
    return app.get_options([&](const CLI::Option* option) {
        return option->get_group() == group && !option->get_positional();
    });
}

std::vector<const CLI::Option*> Arguments(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::vector<std::string> OptionGroups(const CLI::App& app) {
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
    if (option.get_positional()) {
        return option.get_name() == "FILE" || option.get_name() == "SOURCE";
    }
    const std::string type = option.get_type_name();
    return type.find("FILE") != std::string::npos || type == "PROGRAM";
}

bool IsRepeated(const CLI::Option& argument) {
    return argument.get_expected_max() > 1;
}

}  // namespace receiver
