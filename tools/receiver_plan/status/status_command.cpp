#include "receiver_plan/status/status_command.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command_line/harmless_text.h"
#include "platform/standard_streams.h"
#include "receiver_plan/exit_code.h"
#include "receiver_plan/plan/day_option.h"
#include "receiver_plan/plan/output_text.h"
#include "receiver_plan/plan/plan_tool_error.h"
#include "receiver_plan/status/recordings_of_command.h"
#include "receiver_plan/status/run_status.h"
#include "receiver_plan/status/status_page.h"
#include "receiver_plan/status/status_texts.h"

namespace receiver {
namespace {

using namespace std::chrono;

struct StatusValues {
    std::vector<std::string> folders;
    std::string plan, from, page;
    unsigned days = 7;
    bool json = false;
    bool force = false;
};

ToolDescription DescribeStatus() {
    ToolDescription tool = {};
    tool.name = "status";
    tool.purpose = "what runs, what was missed, what is damaged";
    tool.usage = "[OPTIONS] FOLDER...";
    tool.description =
        "Looks at the recordings below folders, and at what stands beside each of them: what is\n"
        "complete, what lacks something and why, and what is being recorded. With --plan it also\n"
        "tells of runs that should have begun and have left nothing.";
    tool.notes = {
        "Copies by several machines are told together: give the folders of all of them. The "
        "programme is there when one copy is whole, or what \"receiver-plan heal\" has made of "
        "them.",
        "Each run is complete, recording, waiting (it has begun, and nothing is written yet), "
        "copy-missed (complete, but a machine has not recorded it), damaged or missed."};
    tool.details = {
        "A recording belongs to the run of the plan in whose time it was begun, if its folder has "
        "the programme's name, as recordings of a plan do. Without a plan those belong together "
        "whose folders and names are the same, but for the copy, and whose times overlap.",
        "A file that is not whole yet (.part) is being recorded while its recorder holds it, or "
        "has written to it within the last ten minutes. What its recorder has left otherwise is "
        "damaged, and so is audio beside which nothing can be read, or is gone. A recording by the "
        "clock alone is damaged when it was begun more than a minute late.",
        "What stands beside a recording and is no such record, or too large for one, is told and "
        "left out.",
        "With --json each line is an object: RUN for each run, NOTE for what was left out."};
    tool.examples = {
        {"the last week", "receiver-plan status --plan plan.toml /srv/recordings"},
        {"of two machines", "receiver-plan status --plan plan.toml /mnt/one /mnt/two"},
        {"as a page", "receiver-plan status --plan plan.toml /srv/recordings --html status.html"}};
    tool.exitCodes = {
        {static_cast<int>(PlanExitCode::kGood), "nothing is missed or damaged"},
        {static_cast<int>(PlanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(PlanExitCode::kUsage), "wrong command line"},
        {static_cast<int>(PlanExitCode::kFaulty),
         "something is missed or damaged, or the plan has faults"},
        {static_cast<int>(PlanExitCode::kUnreadable), "a folder or the plan cannot be read"},
        {static_cast<int>(PlanExitCode::kOutputError), "the page could not be written, or exists"},
    };
    return tool;
}

void Declare(CLI::App& app, StatusValues& values) {
    app.add_option("FOLDER", values.folders, "Where recordings are")->type_name("")->required();
    const char* const runs = "Runs";
    app.add_option("--plan", values.plan, "The plan file, to tell what was missed")
        ->type_name("PLAN")
        ->group(runs);
    app.add_option("--days", values.days, "How many days to look at, 1 to 366 (default: 7)")
        ->type_name("NUMBER")
        ->group(runs);
    app.add_option("--from", values.from,
                   "The first day, in UTC; without it the days are those until now")
        ->type_name("YYYY-MM-DD")
        ->group(runs);
    const char* const output = "Output";
    app.add_flag("--json", values.json, "Print an object a line, for programs")->group(output);
    app.add_option("--html", values.page, "Write a page with all of it, as HTML")
        ->type_name("FILE")
        ->group(output);
    app.add_flag("--force", values.force, "Replace an existing file")->group(output);
}

StatusStretch StretchOf(const StatusValues& values) {
    const auto now = floor<milliseconds>(system_clock::now());
    StatusStretch stretch;
    stretch.now = now;
    stretch.until = floor<seconds>(now) + seconds(1);
    stretch.from = stretch.until - days(values.days);
    if (!values.from.empty()) {
        stretch.from = DayOfOption(values.from);
        stretch.until = stretch.from + days(values.days);
    }
    return stretch;
}

void Print(const StatusValues& values, const Plan* plan, const std::vector<RunStatus>& runs,
           const std::vector<std::string>& notes) {
    if (values.json) {
        for (const RunStatus& run : runs) WriteStandardOutputLine(StatusJson(run));
        for (const std::string& note : notes) WriteStandardOutputLine(NoteJson(note));
        return;
    }
    for (const std::string& note : notes) {
        WriteStandardErrorLine("receiver-plan: " + Harmless(note));
    }
    for (const std::string& line : StatusLines(plan, runs, values.days)) {
        WriteStandardOutputLine(line);
    }
    WriteStandardOutputLine(SummaryLine(runs));
}

int Run(const StatusValues& values) {
    CheckDays(values.days);
    const StatusStretch stretch = StretchOf(values);
    std::optional<Plan> plan;
    if (!values.plan.empty()) plan = ReadPlanOfCommand(values.plan);
    FoundRecordings found = RecordingsOfCommand(values.folders, stretch.now);
    const Plan* const thePlan = plan ? &*plan : nullptr;
    const std::vector<RunStatus> runs =
        plan ? RunsOfPlan(*plan, std::move(found.recordings), stretch)
             : RunsOfRecordings(std::move(found.recordings), stretch);
    Print(values, thePlan, runs, found.notes);
    if (!values.page.empty()) {
        WriteOutputText(values.page, StatusPage(thePlan, runs, stretch, found.notes), values.force);
    }
    const bool isWell = std::all_of(runs.begin(), runs.end(),
                                    [](const RunStatus& run) { return IsWell(run.state); });
    return static_cast<int>(isWell ? PlanExitCode::kGood : PlanExitCode::kFaulty);
}

}  // namespace

ToolCommand StatusCommand() {
    const auto values = std::make_shared<StatusValues>();
    return {DescribeStatus(), [values](CLI::App& app) { Declare(app, *values); },
            [values] { return Run(*values); }};
}

}  // namespace receiver
