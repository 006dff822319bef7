#include "receiver_plan/plan/windows_path.h"

#include <utility>
#include <vector>

#include "receiver_plan/plan/plan_keys.h"
#include "wire/identifier.h"

namespace receiver {
namespace {

bool IsSlash(char c) {
    return c == '\\' || c == '/';
}

bool IsLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

}  // namespace

bool IsWindowsPath(std::string_view path) {
    if (path.starts_with("\\\\")) return true;
    return path.size() > 2 && IsLetter(path[0]) && path[1] == ':' && IsSlash(path[2]);
}

std::string_view FileOfRecording(std::string_view recording) {
    const size_t equals = recording.find('=');
    const bool hasId = equals != std::string_view::npos &&
                       IsValidSessionId(std::string(recording.substr(0, equals)));
    return hasId ? recording.substr(equals + 1) : recording;
}

PlanFaults PathsOfAnotherKind(const Plan& plan, bool areOfWindows, const std::string& engine) {
    PlanFaults faults;
    for (const PlannedProgram& program : plan.programs) {
        const auto look = [&](const char* key, std::string_view path) {
            if (IsWindowsPath(path) == areOfWindows) return;
            faults.Add({program.LineOf(key),
                        std::string(kProgramsSection) + "." + program.name + "." + key,
                        "\"" + std::string(path) + "\" is " +
                            (areOfWindows ? "not a whole path of Windows, where "
                                          : "a path of Windows, where ") +
                            engine + (areOfWindows ? " is" : " is not"),
                        areOfWindows ? "write it with its drive, as 'D:\\Radio'"
                                     : "write one of the machines that record"});
        };
        look("folder", program.folder);
        for (const auto& [key, recordings] :
             {std::pair<const char*, const std::vector<std::string>&>{"start", program.starts},
              {"end", program.ends},
              {"other", program.others}}) {
            for (const std::string& recording : recordings) look(key, FileOfRecording(recording));
        }
    }
    return faults;
}

}  // namespace receiver
