#include "receiver_plan/heal/heal_all_command.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command_line/duration.h"
#include "command_line/harmless_text.h"
#include "platform/standard_streams.h"
#include "receiver_plan/exit_code.h"
#include "receiver_plan/heal/healed_file.h"
#include "receiver_plan/heal/runs_to_heal.h"
#include "receiver_plan/plan/day_option.h"
#include "receiver_plan/plan/plan_tool_error.h"
#include "receiver_plan/status/recordings_of_command.h"
#include "receiver_plan/status/run_status.h"
#include "receiver_scan/source/interruption.h"

namespace receiver {
namespace {

using namespace std::chrono;

struct HealAllValues {
    std::vector<std::string> folders;
    std::string plan;
    unsigned days = 2;
};

ToolDescription DescribeHealAll() {
    ToolDescription tool = {};
    tool.name = "heal-all";
    tool.purpose = "put the copies of every run together";
    tool.usage = "[OPTIONS] FOLDER...";
    tool.description =
        "Looks at the recordings below folders, as \"status\" does, and does what \"heal\" does "
        "with\n"
        "each run that is over, has FLAC or WAV of more than one copy, and no healed file yet.";
    tool.notes = {
        "Give the folders of all machines. What is put together stands beside the first copy, "
        "under its name without \".copy1\"; nothing is replaced. Run it every hour where the "
        "folders meet.",
        "What a killed recorder has left (.part) is used, too, if it can be read."};
    tool.details = {
        "Without a plan those recordings are copies of one run whose folders and names are the "
        "same, but for the copy, and whose times overlap."};
    tool.examples = {
        {"of two machines", "receiver-plan heal-all --plan plan.toml /mnt/one /mnt/two"}};
    tool.exitCodes = {
        {static_cast<int>(PlanExitCode::kGood), "nothing is lacking in what was put together"},
        {static_cast<int>(PlanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(PlanExitCode::kUsage), "wrong command line"},
        {static_cast<int>(PlanExitCode::kFaulty),
         "something is lacking in every copy, or the plan has faults"},
        {static_cast<int>(PlanExitCode::kUnreadable),
         "a folder, the plan or a copy cannot be read, or copies have no sound in common"},
        {static_cast<int>(PlanExitCode::kInterrupted), "interrupted; no file is left half-written"},
        {static_cast<int>(PlanExitCode::kOutputError), "a file could not be written, or exists"},
    };
    return tool;
}

void Declare(CLI::App& app, HealAllValues& values) {
    app.add_option("FOLDER", values.folders, "Where recordings are")->type_name("")->required();
    const char* const runs = "Runs";
    app.add_option("--plan", values.plan, "The plan file, to tell runs apart by their times")
        ->type_name("PLAN")
        ->group(runs);
    app.add_option("--days", values.days, "How many days to look back, 1 to 366 (default: 2)")
        ->type_name("NUMBER")
        ->group(runs);
}

std::vector<RunToHeal> Find(const HealAllValues& values) {
    const auto now = floor<milliseconds>(system_clock::now());
    StatusStretch stretch;
    stretch.now = now;
    stretch.until = floor<seconds>(now) + seconds(1);
    stretch.from = stretch.until - days(values.days);
    FoundRecordings found = RecordingsOfCommand(values.folders, now);
    for (const std::string& note : found.notes) {
        WriteStandardErrorLine("receiver-plan: " + Harmless(note));
    }
    if (values.plan.empty()) {
        return RunsToHeal(RunsOfRecordings(std::move(found.recordings), stretch));
    }
    return RunsToHeal(
        RunsOfPlan(ReadPlanOfCommand(values.plan), std::move(found.recordings), stretch));
}

HealingResult HealRun(const RunToHeal& run, const StopRequested& stop) {
    std::vector<std::string> copies = run.whole;
    copies.insert(copies.end(), run.left.begin(), run.left.end());
    try {
        return Heal(copies, run.output, false, stop);
    } catch (const PlanToolError& error) {
        const bool isOfWhatIsLeft =
            error.Code() == PlanExitCode::kUnreadable && !run.left.empty() && run.whole.size() > 1;
        if (!isOfWhatIsLeft) throw;
    }
    return Heal(run.whole, run.output, false, stop);
}

PlanExitCode HealAndTell(const RunToHeal& run, const StopRequested& stop) {
    try {
        const HealingResult result = HealRun(run, stop);
        const uint64_t lacking = result.LackingFrames();
        WriteStandardOutputLine(
            Harmless(run.output) + ": " + std::to_string(result.copies.size()) +
            " copies put together" +
            (lacking == 0
                 ? ""
                 : ", all of which lack " + FormatPosition(lacking * 1000 / result.sampleRate)));
        return lacking == 0 ? PlanExitCode::kGood : PlanExitCode::kFaulty;
    } catch (const PlanToolError& error) {
        WriteStandardErrorLine(error.what());
        return error.Code();
    }
}

int Run(const HealAllValues& values) {
    CheckDays(values.days);
    const Interruption interruption({});
    PlanExitCode worst = PlanExitCode::kGood;
    for (const RunToHeal& run : Find(values)) {
        worst = std::max(worst, HealAndTell(run, interruption.Asked()));
    }
    return static_cast<int>(worst);
}

}  // namespace

ToolCommand HealAllCommand() {
    const auto values = std::make_shared<HealAllValues>();
    return {DescribeHealAll(), [values](CLI::App& app) { Declare(app, *values); },
            [values] { return Run(*values); }};
}

}  // namespace receiver
