// A plan as tasks of the Task Scheduler of Windows: a file of XML for each programme.
#include <algorithm>
#include <array>
#include <bitset>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "receiver_plan/check/plan_runs.h"
#include "receiver_plan/plan/plan_faults.h"
#include "receiver_plan/plan/recorder_arguments.h"
#include "receiver_plan/render/cron_schedule.h"
#include "receiver_plan/render/rendered_files.h"
#include "receiver_scan/report/html_text.h"

namespace receiver {

using namespace std::chrono;

namespace {

constexpr const char* kEngine = "the Task Scheduler";
constexpr size_t kMaxTriggers = 48;  // of a task
// Any day of the past: what comes again and again counts from there.
constexpr local_days kFirstDay{2020y / January / 1};
constexpr std::array<const char*, 7> kDays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                              "Thursday", "Friday", "Saturday"};
constexpr std::array<const char*, 12> kMonths = {"January",   "February", "March",    "April",
                                                 "May",       "June",     "July",     "August",
                                                 "September", "October",  "November", "December"};

std::string WithBackslashes(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
}

// As one word of a command line, the way programs of Windows take it apart.
std::string CommandLineWord(const std::string& text) {
    if (!text.empty() && text.find_first_of(" \t\"") == std::string::npos) return text;
    std::string word = "\"";
    size_t backslashes = 0;
    for (const char c : text) {
        if (c == '"') word.append(backslashes + 1, '\\');  // each before it once more
        backslashes = c == '\\' ? backslashes + 1 : 0;
        word += c;
    }
    return word.append(backslashes, '\\') + '"';
}

std::string Element(const std::string& name, const std::string& content) {
    return "<" + name + ">" + content + "</" + name + ">";
}

class Task final {
public:
    Task(const Plan& plan, const PlannedProgram& program, const std::string& zone,
         PlanFaults& faults)
        : plan_(plan), program_(program), zone_(zone), faults_(faults) {}

    std::string ForCopy(unsigned copy) {
        ExpectMachineZone(plan_, program_, zone_, kEngine, faults_);
        ExpectWhatCanBeSaid();
        return RenderedXmlHeader(
                   plan_, "For machines whose clocks are those of " + zone_ +
                              ". In PowerShell: Register-ScheduledTask " + program_.name +
                              " -Xml (Get-Content -Raw -Encoding UTF8 " + program_.name + ".xml)") +
               "<Task version=\"1.2\" "
               "xmlns=\"http://schemas.microsoft.com/windows/2004/02/mit/task\">\n"
               "  <Triggers>\n" +
               Triggers() +
               "  </Triggers>\n"
               "  <Settings>\n"
               "    <MultipleInstancesPolicy>IgnoreNew</MultipleInstancesPolicy>\n"
               "    <DisallowStartIfOnBatteries>false</DisallowStartIfOnBatteries>\n"
               "    <StopIfGoingOnBatteries>false</StopIfGoingOnBatteries>\n"
               "    <ExecutionTimeLimit>PT0S</ExecutionTimeLimit>\n"
               "    <WakeToRun>true</WakeToRun>\n"
               "  </Settings>\n"
               "  <Actions>\n" +
               Actions(copy) + "  </Actions>\n</Task>\n";
    }

private:
    void Fault(const char* key, std::string text, std::string remedy) {
        faults_.Add(FaultOf(program_, key, std::move(text), std::move(remedy)));
    }

    void ExpectWhatCanBeSaid() {
        if (!program_.run.empty()) {
            Fault("run", std::string(kEngine) + " tells no command how the one before has ended",
                  "leave it out");
        }
        if (program_.keepMs) {
            Fault("keep", std::string(kEngine) + " removes no files",
                  "leave it out, and let a task of your own remove them");
        }
        if (program_.folder.find_first_of("%\"") != std::string::npos) {
            Fault("folder", "cmd.exe does not take % and \" in it as they are",
                  "choose another folder");
        }
    }

    // How its days come again; empty, and a fault, where this cannot be said.
    std::string DaysOf(const CalendarExpression& when) {
        const std::string subject = "\"" + when.Text() + "\": " + kEngine;
        if (!when.Years().empty()) {
            Fault("when", subject + " knows no years but that of a single day",
                  "write * for the year, or one year, one month and one day");
            return "";
        }
        const bool isAnyWeekday = when.Weekdays().all();
        const bool isAnyDate = when.Days().count() == 31 && when.Months().count() == 12;
        if (!isAnyWeekday && !isAnyDate) {
            Fault("when", subject + " does not take days of the week together with dates",
                  "give the one or the other");
            return "";
        }
        if (isAnyWeekday && isAnyDate) {
            return Element("ScheduleByDay", Element("DaysInterval", "1"));
        }
        if (isAnyDate) {
            return Element("ScheduleByWeek",
                           Element("DaysOfWeek", NamesOf(when.Weekdays(), kDays, 0)) +
                               Element("WeeksInterval", "1"));
        }
        std::string days;
        for (size_t day = 1; day <= 31; ++day) {
            if (when.Days()[day]) days += Element("Day", std::to_string(day));
        }
        return Element(
            "ScheduleByMonth",
            Element("DaysOfMonth", days) + Element("Months", NamesOf(when.Months(), kMonths, 1)));
    }

    template <size_t kSize, size_t kNames>
    static std::string NamesOf(const std::bitset<kSize>& numbers,
                               const std::array<const char*, kNames>& names, size_t least) {
        std::string text;
        for (size_t i = 0; i < kNames; ++i) {
            if (numbers[i + least]) text.append("<").append(names.at(i)).append(" />");
        }
        return text;
    }

    // The one day that the expression means, if it does.
    static std::optional<local_days> OnlyDayOf(const CalendarExpression& when) {
        if (when.Years().size() != 1 || when.Months().count() != 1 || when.Days().count() != 1) {
            return {};
        }
        const YearRange& years = when.Years()[0];
        if (years.last != years.first) return {};
        unsigned ofYear = 1;
        while (!when.Months()[ofYear]) ++ofYear;
        unsigned ofMonth = 1;
        while (!when.Days()[ofMonth]) ++ofMonth;
        const year_month_day date(year(years.first), month(ofYear), day(ofMonth));
        if (!date.ok() || !when.HasDate(date)) return {};
        return local_days(date);
    }

    std::string Triggers() {
        std::vector<std::string> triggers;
        for (const CalendarExpression& when : program_.when) {
            const std::optional<local_days> only = OnlyDayOf(when);
            const std::string kind = only ? "TimeTrigger" : "CalendarTrigger";
            const std::string days = only ? "" : DaysOf(when);
            for (const seconds time : TimesOf(when)) {
                const local_seconds begins = only.value_or(kFirstDay) + time;
                triggers.push_back("    " +
                                   Element(kind, Element("StartBoundary", DateText(begins) + "T" +
                                                                              ClockText(begins)) +
                                                     days) +
                                   "\n");
            }
        }
        if (triggers.size() > kMaxTriggers) {
            Fault("when",
                  std::string(kEngine) + " takes " + std::to_string(kMaxTriggers) +
                      " times of a day in one task, and these are " +
                      std::to_string(triggers.size()),
                  "give fewer, or make two programmes of it");
        }
        std::string text;
        for (const std::string& trigger : triggers) text += trigger;
        return text;
    }

    static std::vector<seconds> TimesOf(const CalendarExpression& when) {
        std::vector<seconds> times;
        times.reserve(when.Hours().count() * when.Minutes().count() * when.Seconds().count());
        for (unsigned second = 0; second < 24 * 3600; ++second) {
            if (when.Hours()[second / 3600] && when.Minutes()[second / 60 % 60] &&
                when.Seconds()[second % 60]) {
                times.emplace_back(second);
            }
        }
        return times;
    }

    // One after the other: the folder, then what goes into it.
    std::string Actions(unsigned copy) {
        const std::string folder = "\"" + WithBackslashes(FolderOf(program_)) + "\"";
        std::vector<std::string> arguments = RecorderArguments(plan_, program_, copy);
        std::string line = CommandLineWord(arguments.front());
        for (size_t i = 1; i < arguments.size(); ++i) {
            line += " " + CommandLineWord(WithBackslashes(arguments[i]));
        }
        return Action("cmd.exe", "/d /c if not exist " + folder + " mkdir " + folder) +
               Action("receiver-record.exe", line);
    }

    std::string Action(const std::string& command, const std::string& arguments) {
        const bool hasControls = std::any_of(arguments.begin(), arguments.end(), [](char c) {
            return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
        });
        if (hasControls) {
            Fault("folder", "something of it has a control character in it, which XML has not",
                  "leave the character out");
        }
        return "    " +
               Element("Exec",
                       Element("Command", command) + Element("Arguments", EscapeHtml(arguments))) +
               "\n";
    }

    const Plan& plan_;
    const PlannedProgram& program_;
    const std::string& zone_;
    PlanFaults& faults_;
};

}  // namespace

RenderedFiles RenderTaskScheduler(const Plan& plan, const RenderOptions& options) {
    if (options.machineZone.empty()) {
        throw std::invalid_argument(
            "--zone is required: the Task Scheduler goes by the clocks of the machines, which are "
            "to be known");
    }
    RenderedFiles files;
    PlanFaults faults;
    for (const PlannedProgram& program : plan.programs) {
        for (unsigned copy = 1; copy <= program.copies; ++copy) {
            files[MachineFolder(copy) + program.name + ".xml"] =
                Task(plan, program, options.machineZone, faults).ForCopy(copy);
        }
    }
    if (!faults.All().empty()) throw FaultyPlan(faults);
    return files;
}

}  // namespace receiver
