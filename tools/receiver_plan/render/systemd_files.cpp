// A plan as settings, timers and limits for the service receiver-record@.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "receiver_plan/plan/recorder_arguments.h"
#include "receiver_plan/render/rendered_files.h"

namespace receiver {
namespace {

constexpr const char* kUnits = "etc/systemd/system/";
constexpr const char* kSlice = "receiver-plan.slice";
constexpr uint64_t kMemoryLimitOfRun = uint64_t{512} << 20;  // as the service's own
constexpr unsigned kTasksOfRun = 256;

std::string WithBackslashes(const std::string& text, std::string_view before) {
    std::string escaped;
    for (const char c : text) {
        if (before.find(c) != std::string_view::npos) escaped += '\\';
        escaped += c;
    }
    return escaped;
}

// As a value of an EnvironmentFile.
std::string EnvironmentValue(const std::string& text) {
    return '"' + WithBackslashes(text, "\\\"`$") + '"';
}

// As one of the words into which systemd cuts an unbraced variable.
std::string OptionWord(const std::string& text) {
    if (ShellWord(text) == text) return text;
    return "'" + WithBackslashes(text, "\\'") + "'";
}

// As a path or a quoted word of a unit file.
std::string UnitText(const std::string& text) {
    std::string escaped;
    for (const char c : WithBackslashes(text, "\\\"")) {
        if (c == '%') escaped += '%';
        escaped += c;
    }
    return escaped;
}

std::string ExecText(const std::string& text) {
    std::string escaped;
    for (const char c : UnitText(text)) {
        if (c == '$') escaped += '$';
        escaped += c;
    }
    return escaped;
}

std::string InstanceOf(const PlannedProgram& program) {
    return "receiver-record@" + program.name;
}

std::string Settings(const Plan& plan, const PlannedProgram& program, unsigned copy) {
    const std::vector<std::string> arguments = RecorderArguments(plan, program, copy);
    std::string options;
    for (size_t i = 1; i + 2 < arguments.size(); ++i) {
        options += (options.empty() ? "" : " ") + OptionWord(arguments[i]);
    }
    return RenderedHeader(plan, "What " + InstanceOf(program) + ".service records.") +
           "URL=" + EnvironmentValue(arguments.front()) +
           "\nOUTPUT=" + EnvironmentValue(arguments.back()) +
           "\nOPTIONS=" + EnvironmentValue(options) + "\n";
}

std::string TimerPart(const Plan& plan, const PlannedProgram& program) {
    std::string text = RenderedHeader(plan, "When it begins to listen.") + "[Timer]\nOnCalendar=\n";
    for (const CalendarExpression& when : program.when) {
        text += "OnCalendar=" + when.Text() + " " + plan.StationOf(program).zone.Name() + "\n";
    }
    return text;
}

std::string ServicePart(const Plan& plan, const PlannedProgram& program) {
    const std::string folder = FolderOf(program);
    std::string text = RenderedHeader(plan, "What the service needs for it.") +
                       "[Service]\nSlice=" + kSlice + "\nReadWritePaths=\"" + UnitText(folder) +
                       "\"\n";
    if (program.run.empty()) return text;
    return text + "Environment=\"RECORDINGS=" + UnitText(folder) +
           "\"\n# 0: complete, 7: complete with gaps. What fails here is no reason to record "
           "again.\nExecStopPost=-/bin/sh -c \"" +
           ExecText("case $EXIT_STATUS in 0|7) ;; *) exit 0 ;; esac; " + program.run) + "\"\n";
}

// Each programme is recorded by one run at a time.
std::string Slice(const Plan& plan, size_t runs) {
    const uint64_t memory = kMemoryLimitOfRun * runs >> 20;
    return RenderedHeader(plan, "Limits of all recordings together: at most " +
                                    std::to_string(runs) + " at once.") +
           "[Slice]\nMemoryMax=" + std::to_string(memory) +
           "M\nTasksMax=" + std::to_string(kTasksOfRun * runs) + "\n";
}

std::string Folders(const Plan& plan, const std::vector<const PlannedProgram*>& programs) {
    std::string text = RenderedHeader(
        plan, "The folders of the recordings, and how long these are kept; \"-\" is for ever.");
    for (const PlannedProgram* program : programs) {
        const std::string age =
            program->keepMs ? "m:" + std::to_string(*program->keepMs / 1000) + "s" : "-";
        text += "d \"" + UnitText(FolderOf(*program)) + "\" 0755 receiver-record receiver-record " +
                age + "\n";
    }
    return text;
}

void AddInstance(const Plan& plan, const PlannedProgram& program, unsigned copy,
                 RenderedFiles& files) {
    const std::string machine = MachineFolder(copy);
    const std::string unit = machine + kUnits + InstanceOf(program);
    files[machine + "etc/receiverhost/record/" + program.name + ".conf"] =
        Settings(plan, program, copy);
    files[unit + ".timer.d/plan.conf"] = TimerPart(plan, program);
    files[unit + ".service.d/plan.conf"] = ServicePart(plan, program);
}

}  // namespace

RenderedFiles RenderSystemd(const Plan& plan, const RenderOptions&) {
    RenderedFiles files;
    for (unsigned copy = 1; copy <= MachinesOf(plan); ++copy) {
        const std::string machine = MachineFolder(copy);
        std::vector<const PlannedProgram*> programs;
        std::string wants;
        for (const PlannedProgram& program : plan.programs) {
            if (copy > program.copies) continue;
            programs.push_back(&program);
            AddInstance(plan, program, copy, files);
            wants.append("Wants=").append(InstanceOf(program)).append(".timer\n");
        }
        files[machine + kUnits + "timers.target.d/receiver-plan.conf"] =
            RenderedHeader(plan,
                           "systemd-tmpfiles --create; systemctl daemon-reload; systemctl "
                           "start timers.target") +
            "[Unit]\n" + wants;
        files[machine + kUnits + kSlice] = Slice(plan, programs.size());
        files[machine + "etc/tmpfiles.d/receiver-plan.conf"] = Folders(plan, programs);
    }
    return files;
}

}  // namespace receiver
