// A plan as a table for Debian's cron.
#include <bitset>
#include <stdexcept>
#include <string>
#include <vector>

#include "receiver_plan/plan/plan_faults.h"
#include "receiver_plan/plan/plan_keys.h"
#include "receiver_plan/plan/recorder_arguments.h"
#include "receiver_plan/render/rendered_files.h"

namespace receiver {
namespace {

// What cron takes of a command; it cuts off the rest without a word.
constexpr size_t kMaxCommandBytes = 990;
constexpr const char* kUser = "receiver-record";

// "*", "5" or "1-5,7" from `least` on.
template <size_t kSize>
std::string Field(const std::bitset<kSize>& numbers, size_t least) {
    if (numbers.count() == kSize - least) return "*";
    std::string text;
    for (size_t first = least; first < kSize; ++first) {
        if (!numbers[first]) continue;
        size_t last = first;
        while (last + 1 < kSize && numbers[last + 1]) ++last;
        if (!text.empty()) text += ',';
        text += std::to_string(first);
        if (last > first) text += (last > first + 1 ? "-" : ",") + std::to_string(last);
        first = last;
    }
    return text;
}

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
    void Fault(const PlannedProgram& program, const std::string& key, const std::string& text,
               const std::string& remedy) {
        faults_.Add({program.LineOf(key),
                     std::string(kProgramsSection) + "." + program.name + "." + key, text, remedy});
    }

    std::string TimesOf(const PlannedProgram& program, const CalendarExpression& when) {
        const std::string expression = "\"" + when.Text() + "\"";
        if (when.Seconds() != std::bitset<60>(1)) {
            Fault(program, "when", expression + ": cron begins at whole minutes",
                  "leave out the seconds");
        }
        if (!when.Years().empty()) {
            Fault(program, "when", expression + ": cron knows no years", "write * for the year");
        }
        const std::string days = Field(when.Days(), 1);
        const std::string weekdays = Field(when.Weekdays(), 0);
        if (days != "*" && weekdays != "*") {
            Fault(program, "when",
                  expression + ": cron would take each of these days of the week and of the month",
                  "give the one or the other");
        }
        if (plan_.StationOf(program).zone.Name() != zone_) {
            Fault(program, "station",
                  "cron goes by the machine's clocks, " + zone_ +
                      ", and the station's are those of " + plan_.StationOf(program).zone.Name(),
                  "render it for another engine, or for machines of that zone");
        }
        return Field(when.Minutes(), 0) + " " + Field(when.Hours(), 0) + " " + days + " " +
               Field(when.Months(), 1) + " " + weekdays;
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
            Fault(program, "when",
                  "cron takes commands of " + std::to_string(kMaxCommandBytes) +
                      " characters, and this one has " + std::to_string(command.size()),
                  "shorten paths, or render it for another engine");
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
