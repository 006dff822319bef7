// "receiver-plan render" and "diff" as people run them: beside what is committed, and before the
// programs that read it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "plan/plan_run.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

const std::string kPlan = PLAN_TESTS_PATH "/expected/plan.toml";
const std::string kWindowsPlan = PLAN_TESTS_PATH "/expected/windows-plan.toml";

std::map<std::string, std::string> FilesOf(const std::string& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        files[entry.path().lexically_relative(folder).string()] =
            BytesOfFile(entry.path().string());
    }
    return files;
}

class PlanRenderRunTest : public testing::Test {
protected:
    PlanRun Render(const std::string& engine, const std::string& plan = kPlan,
                   bool force = false) const {
        std::vector<std::string> arguments = {
            "render",        plan,     "--for",      engine, "--zone",
            "Europe/Berlin", "--from", "2026-03-29", "-o",   folder_.File("out")};
        if (force) arguments.emplace_back("--force");
        return RunPlan(arguments);
    }
    // A program that stands in for one that the scripts for Slurm call.
    void StandIn(const std::string& name, const std::string& script) const {
        fs::create_directories(folder_.File("bin"));
        const std::string path = folder_.File("bin/" + name);
        std::ofstream(path) << "#!/bin/sh\n" << script << "\n";
        fs::permissions(path, fs::perms::owner_all);
    }
    PlanRun RunScript(const std::string& script, const std::vector<std::string>& arguments,
                      const std::string& variable = "SLURM_JOB_ID=1") const {
        std::vector<std::string> command = {
            "PATH=" + folder_.File("bin") + ":" + ExecutableDirectory().string() + ":/usr/bin:/bin",
            "SLURM_SUBMIT_DIR=" + folder_.File("out"), variable, "sh",
            folder_.File("out/" + script)};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return RunProgram("env", command);
    }
    std::string ChangedPlan() const {
        std::string text = BytesOfFile(kPlan);
        text.replace(text.find("18:25"), 5, "18:20");
        std::ofstream(folder_.File("plan.toml")) << text;
        return folder_.File("plan.toml");
    }

    const TempFolder folder_;
};

}  // namespace

TEST_F(PlanRenderRunTest, TheFilesAreThoseThatAreCommitted) {
    for (const std::string engine : {"systemd", "cron", "kubernetes", "slurm"}) {
        const PlanRun run = Render(engine, kPlan, true);
        ASSERT_EQ(run.exitCode, 0) << run.errors;
        EXPECT_EQ(FilesOf(folder_.File("out")), FilesOf(PLAN_TESTS_PATH "/expected/" + engine));
    }
}

TEST_F(PlanRenderRunTest, TasksOfWindowsAreThoseThatAreCommitted) {
    const PlanRun run = Render("task-scheduler", kWindowsPlan);
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const auto files = FilesOf(folder_.File("out"));
    EXPECT_EQ(files, FilesOf(PLAN_TESTS_PATH "/expected/task-scheduler"));
    for (const auto& [name, text] : files) {
        const PlanRun parsed =
            RunProgram("python3", {"-c", "import sys, xml.dom.minidom as m; m.parse(sys.argv[1])",
                                   folder_.File("out/" + name)});
        EXPECT_EQ(parsed.exitCode, 0) << name << parsed.errors;
    }
    // What is rendered again takes the place of it, and is known as rendered.
    EXPECT_EQ(Render("systemd", kPlan, true).exitCode, 0);
    EXPECT_EQ(FilesOf(folder_.File("out")), FilesOf(PLAN_TESTS_PATH "/expected/systemd"));
}

TEST_F(PlanRenderRunTest, PathsOfTheOtherSystemAreFaultsOfThePlan) {
    const PlanRun posix = Render("task-scheduler");
    EXPECT_EQ(posix.exitCode, 3);
    EXPECT_NE(
        posix.errors.find("plan.toml:4: programs.evening.folder: \"/srv/recordings\" is not a "
                          "whole path of Windows, where task-scheduler is; write it"),
        std::string::npos)
        << posix.errors;
    for (const std::string engine : {"systemd", "cron", "kubernetes", "slurm"}) {
        const PlanRun windows = Render(engine, kWindowsPlan);
        EXPECT_EQ(windows.exitCode, 3) << engine;
        EXPECT_NE(windows.errors.find("is a path of Windows, where " + engine + " is not"),
                  std::string::npos)
            << windows.errors;
    }
    EXPECT_FALSE(fs::exists(folder_.File("out")));
    const PlanRun check = RunPlan({"check", kWindowsPlan, "--from", "2026-03-29"});
    EXPECT_EQ(check.exitCode, 0) << check.errors;
    EXPECT_NE(check.errors.find("warning: C:\\Jingles\\evening opening.wav is a path of Windows"),
              std::string::npos)
        << check.errors;
}

TEST_F(PlanRenderRunTest, WhatIsTheSameIsWrittenAgainAndWhatDiffersNotUnasked) {
    ASSERT_EQ(Render("systemd").exitCode, 0);
    EXPECT_EQ(Render("systemd").exitCode, 0);
    const auto before = FilesOf(folder_.File("out"));
    const PlanRun refused = Render("systemd", ChangedPlan());
    EXPECT_EQ(refused.exitCode, 6);
    EXPECT_NE(refused.errors.find("--force"), std::string::npos);
    EXPECT_EQ(FilesOf(folder_.File("out")), before);
    EXPECT_EQ(Render("systemd", ChangedPlan(), true).exitCode, 0);
    EXPECT_NE(FilesOf(folder_.File("out")), before);
}

TEST_F(PlanRenderRunTest, WhatIsNoLongerThereIsRemovedAndWhatIsOthersIsNot) {
    fs::create_directories(folder_.File("out"));
    std::ofstream(folder_.File("out/mine")) << "mine\n";
    ASSERT_EQ(Render("systemd").exitCode, 0);
    ASSERT_EQ(Render("cron", kPlan, true).exitCode, 0);
    auto expected = FilesOf(PLAN_TESTS_PATH "/expected/cron");
    expected["mine"] = "mine\n";
    EXPECT_EQ(FilesOf(folder_.File("out")), expected);
}

TEST_F(PlanRenderRunTest, DiffShowsWhatAChangedPlanChanges) {
    ASSERT_EQ(Render("systemd").exitCode, 0);
    const auto diff = [&](const std::string& plan) {
        return RunPlan({"diff", plan, "--for", "systemd", "--with", folder_.File("out")});
    };
    const PlanRun same = diff(kPlan);
    EXPECT_EQ(same.exitCode, 0);
    EXPECT_EQ(same.output, "");
    const PlanRun other = diff(ChangedPlan());
    EXPECT_EQ(other.exitCode, 3);
    EXPECT_NE(other.output.find("- OnCalendar=Mon..Fri 18:25 Europe/Berlin\n"
                                "+ OnCalendar=Mon..Fri 18:20 Europe/Berlin\n"),
              std::string::npos)
        << other.output;
}

TEST_F(PlanRenderRunTest, WhatAnEngineCannotExpressIsAnErrorAndNothingIsWritten) {
    const PlanRun run = RunPlan(
        {"render", kPlan, "--for", "cron", "--zone", "Europe/London", "-o", folder_.File("out")});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_NE(run.errors.find("cron goes by the machine's clocks"), std::string::npos);
    EXPECT_FALSE(fs::exists(folder_.File("out")));
    EXPECT_EQ(RunPlan({"render", kPlan, "--for", "cron", "-o", folder_.File("out")}).exitCode, 2);
    EXPECT_EQ(RunPlan({"render", kPlan, "--for", "at", "-o", folder_.File("out")}).exitCode, 2);
}

TEST_F(PlanRenderRunTest, SlurmIsGivenWhatThisFolderHasNotSubmitted) {
    ASSERT_EQ(Render("slurm").exitCode, 0);
    StandIn("sbatch", "echo sbatch \"$@\"");
    StandIn("squeue", "echo /another/folder");
    const auto submit = [&] { return RunScript("submit.sh", {kPlan}); };
    const std::string plan = fs::canonical(kPlan).string();
    const PlanRun first = submit();
    EXPECT_EQ(first.exitCode, 0) << first.errors;
    EXPECT_EQ(first.output,
              "sbatch runs/2026-03-29-223000-night-talk-1.sh\nsbatch next-day.sh " + plan + "\n");
    StandIn("squeue",
            "case $* in *--name=receiver-plan-2026-03-30*) echo /another/folder; pwd -P;; "
            "esac");
    EXPECT_EQ(submit().output, "sbatch runs/2026-03-29-223000-night-talk-1.sh\n");
    StandIn("squeue", "pwd -P");
    EXPECT_EQ(submit().output, "");
}

TEST_F(PlanRenderRunTest, NothingIsSubmittedWhileSlurmDoesNotSayWhatItHas) {
    ASSERT_EQ(Render("slurm").exitCode, 0);
    StandIn("sbatch", "echo sbatch \"$@\"");
    StandIn("squeue", "exit 1");
    const PlanRun run = RunScript("submit.sh", {kPlan});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "");
}

TEST_F(PlanRenderRunTest, SlurmsNextDayIsRenderedAndSubmittedOrTriedAgain) {
    ASSERT_EQ(Render("slurm").exitCode, 0);
    StandIn("sbatch", "echo sbatch \"$@\"");
    StandIn("squeue", "");
    const auto next = [&](const std::string& plan) { return RunScript("next-day.sh", {plan}); };
    const PlanRun faulty = next(folder_.File("none.toml"));
    EXPECT_EQ(faulty.exitCode, 1);
    EXPECT_EQ(faulty.output,
              "sbatch --begin=now+1hour next-day.sh " + folder_.File("none.toml") + "\n");
    const PlanRun monday = next(fs::canonical(kPlan).string());
    EXPECT_EQ(monday.exitCode, 0) << monday.errors;
    EXPECT_NE(monday.output.find("sbatch runs/2026-03-30-182500-evening-1.sh\n"
                                 "sbatch runs/2026-03-30-182500-evening-2.sh\n"
                                 "sbatch runs/2026-03-30-182500-evening-heal.sh\n"
                                 "sbatch next-day.sh "),
              std::string::npos)
        << monday.output;
    EXPECT_FALSE(fs::exists(folder_.File("out/runs/2026-03-29-223000-night-talk-1.sh")));
    EXPECT_NE(BytesOfFile(folder_.File("out/next-day.sh")).find("--from 2026-03-31 "),
              std::string::npos);
}

TEST_F(PlanRenderRunTest, ARunThatSlurmBeginsAnewTellsThatItsBeginningIsLacking) {
    ASSERT_EQ(Render("slurm").exitCode, 0);
    StandIn("date", "echo 0");
    StandIn("mkdir", "");
    StandIn("receiver-record", "echo recorded");
    const std::string run = "runs/2026-03-29-223000-night-talk-1.sh";
    EXPECT_EQ(RunScript(run, {}).exitCode, 0);
    const PlanRun anew = RunScript(run, {}, "SLURM_RESTART_COUNT=1");
    EXPECT_EQ(anew.exitCode, 7);
    EXPECT_EQ(anew.output, "recorded\n");
    EXPECT_EQ(anew.errors,
              "begun anew: what was recorded before is left as .part\n"
              "the beginning is lacking\n");
    StandIn("receiver-record", "exit 4");
    EXPECT_EQ(RunScript(run, {}, "SLURM_RESTART_COUNT=1").exitCode, 4);
}

TEST_F(PlanRenderRunTest, KustomizeFindsAJobForEachTimeOfEachCopy) {
    if (!fs::exists("/usr/bin/kubectl")) GTEST_SKIP() << "kubectl is not installed";
    ASSERT_EQ(Render("kubernetes").exitCode, 0);
    const PlanRun run = RunProgram("kubectl", {"kustomize", folder_.File("out")});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    size_t jobs = 0;
    for (size_t at = 0; (at = run.output.find("kind: CronJob\n", at)) != std::string::npos; ++at) {
        ++jobs;
    }
    EXPECT_EQ(jobs, 5u);  // two copies of one, two times of the other, and healing
    EXPECT_NE(run.output.find("image: receiverhost:latest\n"), std::string::npos);
    EXPECT_NE(run.output.find("timeZone: Europe/Berlin\n"), std::string::npos);
}

// What cron itself says of the files, which have a user in each line that it does not want in what
// it can be asked about.
TEST_F(PlanRenderRunTest, CronFindsNothingWrong) {
    if (!fs::exists("/usr/bin/crontab")) GTEST_SKIP() << "cron is not installed";
    ASSERT_EQ(Render("cron").exitCode, 0);
    const std::regex user("^((?:\\S+ ){5})receiver-record ");
    for (const std::string machine : {"machine-1", "machine-2"}) {
        std::ifstream file(folder_.File("out/" + machine + "/etc/cron.d/receiver-plan"));
        std::string table;
        size_t jobs = 0;
        for (std::string line; std::getline(file, line);) {
            const std::string job = std::regex_replace(line, user, "$1");
            if (job != line) ++jobs;
            table.append(job).append("\n");
        }
        EXPECT_GE(jobs, 2u) << machine;
        std::ofstream(folder_.File("table")) << table;
        const PlanRun well = RunProgram("crontab", {"-n", folder_.File("table")});
        EXPECT_EQ(well.exitCode, 0) << machine << well.errors;
        // That it would say so otherwise.
        std::ofstream(folder_.File("table")) << table << "61 0 * * * true\n";
        EXPECT_EQ(RunProgram("crontab", {"-n", folder_.File("table")}).exitCode, 1) << machine;
    }
}

// Together with the service and the timer that the package brings.
TEST_F(PlanRenderRunTest, SystemdFindsNothingWrong) {
    if (!fs::exists("/usr/bin/systemd-analyze")) GTEST_SKIP() << "systemd is not installed";
    ASSERT_EQ(Render("systemd").exitCode, 0);
    const std::string units = folder_.File("out/machine-1/etc/systemd/system");
    const std::string packaged = PLAN_TESTS_PATH "/../../packaging/systemd/receiver-record@.";
    const std::string service = std::regex_replace(
        std::regex_replace(BytesOfFile(packaged + "service.in"),
                           std::regex("@CMAKE_INSTALL_FULL_BINDIR@/receiver-record"), "/bin/true"),
        std::regex("@CMAKE_INSTALL_FULL_SYSCONFDIR@"), "/etc");
    std::ofstream(units + "/receiver-record@.service") << service;
    std::ofstream(units + "/receiver-record@.timer") << BytesOfFile(packaged + "timer");
    for (const std::string unit : {"receiver-record@evening.timer",
                                   "receiver-record@evening.service", "receiver-plan.slice"}) {
        const PlanRun run = RunProgram(
            "env", {"SYSTEMD_UNIT_PATH=" + units + ":", "systemd-analyze", "verify", "--man=no",
                    unit == "receiver-plan.slice" ? units + "/" + unit : unit});
        EXPECT_EQ(run.exitCode, 0) << unit << run.errors;
        EXPECT_EQ(run.errors, "") << unit;
    }
}

}  // namespace receiver
