// A plan as a table for Debian's cron.
#include <stdexcept>
#include <string>
#include <vector>

#include "receiver_plan/plan/plan_faults.h"
#include "receiver_plan/plan/recorder_arguments.h"
#include "receiver_plan/render/cron_schedule.h"
#include "receiver_plan/render/rendered_files.h"

namespace receiver {
namespace {

// What cron takes of a command; it cuts off the rest without a word.
constexpr size_t kMaxCommandBytes = 990;
constexpr const char* kUser = "receiver-record";

// In a command cron takes a % for a line end.
std::string CronText(const std::string& command) {
    std::string text;
    for (const char c : command) {
        if (c == '%') text += '\\';
        text += c;
    }
    return text;
}

class CronTable final {
public:
    CronTable(const Plan& plan, const std::string& zone) : plan_(plan), zone_(zone) {}

    std::string ForMachine(unsigned copy) {
        std::string text = RenderedHeader(
            plan_, "A file of /etc/cron.d, for machines whose clocks are those of " + zone_ + ".");
        text += "SHELL=/bin/sh\nPATH=/usr/local/bin:/usr/bin:/bin\n";
        for (const PlannedProgram& program : plan_.programs) {
            if (copy > program.copies) continue;
            text += "\n# " + program.name + "\n";
            const std::string command = CommandOf(program, copy);
            for (const CalendarExpression& when : program.when) {
                text += TimesOf(program, when) + " " + kUser + " " + command + "\n";
            }
            if (program.keepMs) text += CleaningOf(program);
        }
        return text;
    }
    const PlanFaults& Faults() const { return faults_; }

private:
    std::string TimesOf(const PlannedProgram& program, const CalendarExpression& when) {
        ExpectMachineZone(plan_, program, zone_, "cron", faults_);
        return CronSchedule(program, when, "cron", faults_);
    }

    std::string CommandOf(const PlannedProgram& program, unsigned copy) {
        const std::string folder = ShellWord(FolderOf(program));
        std::string command = "mkdir -p " + folder + " && receiver-record --quiet";
        for (const std::string& argument : RecorderArguments(plan_, program, copy)) {
            command += " " + ShellWord(argument);
        }
        if (!program.run.empty()) {
            command += "; case $? in 0|7) ;; *) exit ;; esac; export RECORDINGS=" + folder + "; " +
                       program.run;
        }
        command = CronText(command);
        if (command.size() > kMaxCommandBytes) {
            faults_.Add(FaultOf(program, "when",
                                "cron takes commands of " + std::to_string(kMaxCommandBytes) +
                                    " characters, and this one has " +
                                    std::to_string(command.size()),
                                "shorten paths, or render it for another engine"));
        }
        return command;
    }

    std::string CleaningOf(const PlannedProgram& program) const {
        return std::string("11 * * * * ") + kUser + " find " +
               CronText(ShellWord(FolderOf(program))) + " -type f -mmin +" +
               std::to_string(*program.keepMs / 60000) + " -delete\n";
    }

    const Plan& plan_;
    const std::string zone_;
    PlanFaults faults_;
};

}  // namespace

RenderedFiles RenderCron(const Plan& plan, const RenderOptions& options) {
    if (options.machineZone.empty()) {
        throw std::invalid_argument(
            "--zone is required: cron goes by the clocks of the machines, which are to be known");
    }
    RenderedFiles files;
    CronTable table(plan, options.machineZone);
    for (unsigned copy = 1; copy <= MachinesOf(plan); ++copy) {
        files[MachineFolder(copy) + "etc/cron.d/receiver-plan"] = table.ForMachine(copy);
    }
    if (!table.Faults().All().empty()) throw FaultyPlan(table.Faults());
    return files;
}

}  // namespace receiver
