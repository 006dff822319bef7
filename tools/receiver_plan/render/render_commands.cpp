#include "receiver_plan/render/render_commands.h"

#include <array>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include "audio_output/part_file.h"
#include "platform/standard_streams.h"
#include "platform/text.h"
#include "receiver_plan/exit_code.h"
#include "receiver_plan/plan/day_option.h"
#include "receiver_plan/plan/plan_faults.h"
#include "receiver_plan/plan/plan_tool_error.h"
#include "receiver_plan/plan/windows_path.h"
#include "receiver_plan/render/folder_difference.h"
#include "receiver_plan/render/rendered_files.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

struct RenderValues {
    std::string plan, engine, folder, zone, from;
    bool force = false;
};

struct Engine {
    const char* name;
    RenderedFiles (*render)(const Plan& plan, const RenderOptions& options);
    bool isOnWindows;
};
constexpr std::array<Engine, 5> kEngines = {{{"systemd", RenderSystemd, false},
                                             {"cron", RenderCron, false},
                                             {"kubernetes", RenderKubernetes, false},
                                             {"slurm", RenderSlurm, false},
                                             {"task-scheduler", RenderTaskScheduler, true}}};

std::string EngineNames() {
    std::string names;
    for (const Engine& engine : kEngines)
        names += (names.empty() ? "" : "|") + std::string(engine.name);
    return names;
}

RenderedFiles Render(const RenderValues& values) {
    for (const Engine& engine : kEngines) {
        if (values.engine != engine.name) continue;
        const Plan plan = ReadPlanOfCommand(values.plan);
        try {
            RenderOptions options{.machineZone = values.zone, .day = {}};
            if (!values.from.empty()) options.day = DayOfOption(values.from);
            const PlanFaults paths = PathsOfAnotherKind(plan, engine.isOnWindows, engine.name);
            if (!paths.All().empty()) throw FaultyPlan(paths);
            return engine.render(plan, options);
        } catch (const FaultyPlan& faulty) {
            throw PlanToolError(PlanExitCode::kFaulty, FaultLines(values.plan, faulty));
        }
    }
    throw std::invalid_argument("--for: \"" + values.engine + "\" is none of " + EngineNames());
}

RenderedFiles FilesOfFolder(const RenderValues& values, const RenderedFiles& wanted) {
    try {
        return FilesBelow(values.folder, wanted);
    } catch (const std::runtime_error& error) {
        throw PlanToolError(PlanExitCode::kUnreadable,
                            std::string("receiver-plan: ") + error.what());
    }
}

void WriteFile(const fs::path& path, const std::string& text) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    std::string failure = error.message();
    if (!error) {
        PartFile part(path, true, true);
        if (part.WriteAt(0, text.data(), text.size()) && part.Commit()) return;
        failure = part.FailureText();
        part.Discard();
    }
    throw std::runtime_error(ToUtf8(path) + ": " + failure);
}

void WriteAll(const RenderValues& values, const RenderedFiles& old, const RenderedFiles& wanted) {
    const fs::path root = ToFilesystemPath(values.folder);
    try {
        for (const auto& [name, text] : wanted) WriteFile(root / ToFilesystemPath(name), text);
        for (const auto& [name, text] : old) {
            if (!wanted.contains(name)) fs::remove(root / ToFilesystemPath(name));
        }
    } catch (const std::runtime_error& error) {
        throw PlanToolError(PlanExitCode::kOutputError,
                            std::string("receiver-plan: ") + error.what());
    }
}

int RunRender(const RenderValues& values) {
    const RenderedFiles wanted = Render(values);
    const RenderedFiles old = FilesOfFolder(values, wanted);
    for (const auto& [name, text] : old) {
        const auto same = wanted.find(name);
        if (values.force || (same != wanted.end() && same->second == text)) continue;
        throw PlanToolError(PlanExitCode::kOutputError,
                            "receiver-plan: " + values.folder + "/" + name +
                                " would be changed or removed; look with \"receiver-plan diff\", "
                                "then give --force");
    }
    WriteAll(values, old, wanted);
    for (const auto& [name, text] : wanted) WriteStandardOutputLine(name);
    return static_cast<int>(PlanExitCode::kGood);
}

int RunDiff(const RenderValues& values) {
    const RenderedFiles wanted = Render(values);
    const std::vector<std::string> lines = DifferenceLines(FilesOfFolder(values, wanted), wanted);
    for (const std::string& line : lines) WriteStandardOutputLine(line);
    return static_cast<int>(lines.empty() ? PlanExitCode::kGood : PlanExitCode::kFaulty);
}

void Declare(CLI::App& app, RenderValues& values, bool writes) {
    app.add_option("PLAN", values.plan, "The plan file")->type_name("")->required();
    const char* const group = "The engine";
    app.add_option("--for", values.engine, "What is to carry the plan out")
        ->type_name(EngineNames())
        ->group(group)
        ->required();
    app.add_option("--zone", values.zone,
                   "The time zone of the machines' clocks; for cron, Slurm and the Task Scheduler, "
                   "which know no other")
        ->type_name("ZONE")
        ->group(group);
    app.add_option("--from", values.from,
                   "The day to render; for Slurm, which takes one after another")
        ->type_name("YYYY-MM-DD")
        ->group(group);
    app.add_option(writes ? "-o,--output" : "--with", values.folder,
                   writes ? "The folder to write to; it may be new" : "The folder to compare with")
        ->type_name("FOLDER")
        ->group("Output")
        ->required();
    if (!writes) return;
    app.add_flag("--force", values.force,
                 "Replace what differs, and remove what was rendered once and is no longer there")
        ->group("Output");
}

void AddExitCodes(ToolDescription& tool, const char* good, const char* faulty) {
    tool.exitCodes = {
        {static_cast<int>(PlanExitCode::kGood), good},
        {static_cast<int>(PlanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(PlanExitCode::kUsage), "wrong command line"},
        {static_cast<int>(PlanExitCode::kFaulty), faulty},
        {static_cast<int>(PlanExitCode::kUnreadable), "the plan or the folder cannot be read"},
    };
}

ToolDescription DescribeRender() {
    ToolDescription tool = {};
    tool.name = "render";
    tool.purpose = "the plan as what an engine reads";
    tool.usage = "[OPTIONS] PLAN --for ENGINE -o FOLDER";
    tool.description =
        "Writes the files with which systemd, cron, Kubernetes, Slurm or the Task Scheduler of\n"
        "Windows carries the plan out, and prints their names: nothing that anything but the\n"
        "engine would have to read.";
    tool.notes = {
        "For systemd, cron and the Task Scheduler a folder machine-1, machine-2, ... for each "
        "machine, as many as "
        "there "
        "are copies; what is in it goes to the same place below /, or is registered as a task."};
    tool.details = {
        "The same plan gives the same bytes. Every file says in its first lines what made it and "
        "what to do with it.",
        "What the engine cannot express is an error, and nothing is written."};
    tool.examples = {
        {"for systemd", "receiver-plan render plan.toml --for systemd -o units"},
        {"for cron", "receiver-plan render plan.toml --for cron --zone Europe/Berlin -o tables"},
        {"a day for Slurm, whose last job renders the next one",
         "receiver-plan render plan.toml --for slurm --zone Europe/Berlin --from 2026-03-30 -o "
         "jobs"}};
    AddExitCodes(tool, "everything was written",
                 "the plan has faults, or the engine cannot express it");
    tool.exitCodes.push_back({static_cast<int>(PlanExitCode::kOutputError),
                              "a file could not be written, or would be changed"});
    return tool;
}

ToolDescription DescribeDiff() {
    ToolDescription tool = {};
    tool.name = "diff";
    tool.purpose = "what a changed plan changes for an engine";
    tool.usage = "[OPTIONS] PLAN --for ENGINE --with FOLDER";
    tool.description =
        "Compares what \"receiver-plan render\" would write with what a folder has: files that "
        "are\n"
        "new, gone or changed, and their lines.";
    tool.examples = {
        {"before rendering anew", "receiver-plan diff plan.toml --for systemd --with units"}};
    AddExitCodes(tool, "nothing differs", "something differs, or the plan has faults");
    return tool;
}

}  // namespace

ToolCommand RenderCommand() {
    const auto values = std::make_shared<RenderValues>();
    return {DescribeRender(), [values](CLI::App& app) { Declare(app, *values, true); },
            [values] { return RunRender(*values); }};
}

ToolCommand DiffCommand() {
    const auto values = std::make_shared<RenderValues>();
    return {DescribeDiff(), [values](CLI::App& app) { Declare(app, *values, false); },
            [values] { return RunDiff(*values); }};
}

}  // namespace receiver
