#include "receiver_plan/plan/recorder_arguments.h"

namespace receiver {

std::string FolderOf(const PlannedProgram& program) {
    const std::string slash = program.folder.ends_with('/') ? "" : "/";
    return program.folder + slash + program.name;
}

std::vector<std::string> RecorderArguments(const Plan& plan, const PlannedProgram& program,
                                           unsigned copy) {
    std::vector<std::string> arguments = {plan.StationOf(program).url};
    const auto add = [&](const char* option, const std::string& value) {
        if (!value.empty()) arguments.insert(arguments.end(), {option, value});
    };
    for (const std::string& recording : program.starts) add("--start", recording);
    for (const std::string& recording : program.ends) add("--end", recording);
    for (const std::string& recording : program.others) add("--other", recording);
    if (program.starts.empty()) arguments.emplace_back("--now");
    add("--wait", program.wait);
    add("--max", program.maximum);
    add("--min", program.minimum);
    add("--trim", program.trim);
    add("--fade", program.fade);
    const std::string number = program.copies > 1 ? ".copy" + std::to_string(copy) : "";
    add("--output", FolderOf(program) + "/" + program.fileName + number + "." + program.format);
    return arguments;
}

}  // namespace receiver
