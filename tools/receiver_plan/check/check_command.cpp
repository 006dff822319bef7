#include "receiver_plan/check/check_command.h"

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/standard_streams.h"
#include "receiver_plan/check/check_texts.h"
#include "receiver_plan/check/icalendar.h"
#include "receiver_plan/check/plan_check.h"
#include "receiver_plan/check/station_answers.h"
#include "receiver_plan/exit_code.h"
#include "receiver_plan/plan/day_option.h"
#include "receiver_plan/plan/output_text.h"
#include "receiver_plan/plan/plan_tool_error.h"
#include "receiver_plan/report/week_page.h"

namespace receiver {
namespace {

using namespace std::chrono;

struct CheckValues {
    std::string plan, from, calendar, report;
    unsigned days = 7;
    bool online = false;
    bool force = false;
};

ToolDescription DescribeCheck() {
    ToolDescription tool = {};
    tool.name = "check";
    tool.purpose = "what would go wrong, before it does";
    tool.usage = "[OPTIONS] PLAN";
    tool.description =
        "Says everything that can be known of a plan before air: its faults, the next runs, which\n"
        "of them overlap, and what they need of each machine. Only --online uses the network.";
    tool.notes = {
        "Each fault comes in a line of its own on standard error: file, line, key, what is wrong, "
        "and what to do. So do warnings."};
    tool.details = {
        "What is looked at: every key and value; whether the recordings to listen for are there, "
        "and fit to be listened for, as receiver-scan check finds; whether receiver-record takes "
        "the options; whether a time comes at all, or is left out where clocks are put forward; "
        "and whether a run may still last when the next one of the same programme begins.",
        "Programmes that overlap are fine, also those of one station: each has a receiver of its "
        "own. They are listed because they need the machine at the same time.",
        "With --online each station's address is opened as a receiver opens it, up to 16 of them "
        "at a time, and left at once; playlists are followed. A connection may take 15 seconds.",
        "Needs are those of one machine with one copy of everything. Every run counts with its "
        "longest wait and its longest programme, audio as stereo at 44.1 kHz, FLAC as three "
        "quarters of WAV; processors and memory leave room beyond what was measured of a recorder "
        "and its receiver."};
    tool.examples = {{"the next week", "receiver-plan check plan.toml"},
                     {"shortly before air", "receiver-plan check plan.toml --online"},
                     {"a month, for people's calendars",
                      "receiver-plan check plan.toml --days 31 --ical plan.ics"},
                     {"a week at a glance", "receiver-plan check plan.toml --report week.html"}};
    tool.exitCodes = {
        {static_cast<int>(PlanExitCode::kGood), "the plan has no faults"},
        {static_cast<int>(PlanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(PlanExitCode::kUsage), "wrong command line"},
        {static_cast<int>(PlanExitCode::kFaulty), "the plan has faults"},
        {static_cast<int>(PlanExitCode::kUnreadable), "the plan cannot be read"},
        {static_cast<int>(PlanExitCode::kOutputError), "a file could not be written, or exists"},
        {static_cast<int>(PlanExitCode::kSilent),
         "the plan has no faults, but a station does not answer with audio (--online)"},
    };
    return tool;
}

void Declare(CLI::App& app, CheckValues& values) {
    app.add_option("PLAN", values.plan, "The plan file")->type_name("")->required();
    const char* const group = "Runs";
    app.add_option("--days", values.days, "How many days of runs to show, 1 to 366 (default: 7)")
        ->type_name("NUMBER")
        ->group(group);
    app.add_option("--from", values.from, "The first day, in UTC, instead of this moment")
        ->type_name("YYYY-MM-DD")
        ->group(group);
    app.add_flag("--online", values.online, "Ask whether the stations answer")->group("Stations");
    app.add_option("--ical", values.calendar, "Write the runs as an iCalendar file")
        ->type_name("FILE")
        ->group("Output");
    app.add_option("--report", values.report,
                   "Write a page with the runs of each day at a glance, as HTML")
        ->type_name("FILE")
        ->group("Output");
    app.add_flag("--force", values.force, "Replace an existing file")->group("Output");
}

sys_seconds FirstMoment(const std::string& from) {
    if (from.empty()) return ceil<seconds>(system_clock::now());
    return DayOfOption(from);
}

bool DoStationsAnswer(const Plan& plan) {
    const StationAnswers answers = AskStations(plan);
    for (const std::string& line : FaultLines(plan, answers.faults)) WriteStandardErrorLine(line);
    for (const std::string& line : answers.lines) WriteStandardOutputLine(line);
    return answers.faults.All().empty();
}

int Run(const CheckValues& values) {
    CheckDays(values.days);
    const sys_seconds from = FirstMoment(values.from);
    const Plan plan = ReadPlanOfCommand(values.plan);
    const sys_seconds until = from + days(values.days);
    const PlanCheck check = CheckPlan(plan, from, until);
    for (const std::string& line : FindingLines(plan, check)) WriteStandardErrorLine(line);
    for (const std::string& line : RunLines(plan, check, values.days)) {
        WriteStandardOutputLine(line);
    }
    if (!values.calendar.empty()) {
        WriteOutputText(values.calendar, ICalendar(plan, check.runs), values.force);
    }
    if (!values.report.empty()) {
        WriteOutputText(values.report, WeekPage(plan, check, from, until), values.force);
    }
    const bool allAnswer = !values.online || DoStationsAnswer(plan);
    if (!check.faults.All().empty()) return static_cast<int>(PlanExitCode::kFaulty);
    return static_cast<int>(allAnswer ? PlanExitCode::kGood : PlanExitCode::kSilent);
}

}  // namespace

ToolCommand CheckPlanCommand() {
    const auto values = std::make_shared<CheckValues>();
    return {DescribeCheck(), [values](CLI::App& app) { Declare(app, *values); },
            [values] { return Run(*values); }};
}

}  // namespace receiver
