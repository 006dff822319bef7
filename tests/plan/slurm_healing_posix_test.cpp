// The job that puts a run's copies together, with a receiver-plan and a queue of the test's own.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "plan/plan_run.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

// The run of Monday, 18:25 in Berlin.
constexpr const char* kName = "2026-03-30-182500-evening";
constexpr const char* kWithin = "2026-03-30T17:00:00Z";
constexpr const char* kBefore = "2026-03-30T16:20:00Z";
constexpr const char* kLongAfter = "2026-03-30T23:00:00Z";

class SlurmHealingTest : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(Recording(""));
        fs::create_directories(folder_.File("bin"));
        Command("receiver-plan", "echo \"$@\"; read -r code < ../code; exit \"$code\"");
        HealEndsWith(0);
    }
    void Render(const std::string& format = "flac") {
        std::string plan = BytesOfFile(PLAN_TESTS_PATH "/expected/plan.toml");
        plan.replace(plan.find("/srv/recordings"), 15, folder_.File("recordings"));
        const std::string kept = "[programs.evening]\n";
        plan.insert(plan.find(kept) + kept.size(), "format = \"" + format + "\"\n");
        std::ofstream(folder_.File("plan.toml")) << plan;
        const PlanRun run =
            RunPlan({"render", folder_.File("plan.toml"), "--for", "slurm", "--zone",
                     "Europe/Berlin", "--from", "2026-03-30", "--output", folder_.File("out")});
        ASSERT_EQ(run.exitCode, 0) << run.errors;
    }
    std::string Recording(const std::string& name) const {
        return folder_.File("recordings/evening/" + name);
    }
    std::string Job(const std::string& what) const {
        return folder_.File(std::string("out/runs/") + kName + "-" + what + ".sh");
    }
    void Command(const std::string& name, const std::string& script) {
        std::ofstream(folder_.File("bin/" + name)) << "#!/bin/sh\n" << script << "\n";
        fs::permissions(folder_.File("bin/" + name), fs::perms::owner_all);
    }
    void HealEndsWith(int code) { std::ofstream(folder_.File("recordings/code")) << code << "\n"; }
    void Leave(const std::string& name, const std::string& changed, const std::string& text = "x") {
        std::ofstream(Recording(name)) << text;
        EXPECT_EQ(RunProgram("touch", {"-d", changed, Recording(name)}).exitCode, 0);
    }
    PlanRun Run(const std::vector<std::string>& command) {
        std::vector<std::string> all = {"PATH=" + folder_.File("bin") + ":/usr/bin:/bin", "sh"};
        all.insert(all.end(), command.begin(), command.end());
        return RunProgram("env", all);
    }
    PlanRun Heal() { return Run({Job("heal")}); }

    const TempFolder folder_;
};

}  // namespace

TEST_F(SlurmHealingTest, TakesWhatTheRunHasLeftAndNothingElse) {
    Render();
    Leave("30 News: one.copy1-2.flac", kWithin);
    Leave("30 News: one.copy2.flac", kWithin);
    Leave("30 News: one.copy2.flac.json", kWithin);
    Leave("30 News: one.copy1.flac.part", kWithin);
    Leave("30 News: one.copy2.flac.part", kWithin, "");
    Leave("29 News.copy1.flac", kBefore);
    Leave("31 News.copy1.flac", kLongAfter);
    Leave("30 News: one.flac", kWithin);
    const PlanRun run = Heal();
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output,
              "heal ./30 News: one.copy1-2.flac ./30 News: one.copy2.flac "
              "./30 News: one.copy1.flac.part --force --output ./30 News: one-2.flac\n");
}

TEST_F(SlurmHealingTest, WithoutWhatAKilledRecorderLeftWhereThatCannotBeRead) {
    Render();
    Leave("a.copy1.flac", kWithin);
    Leave("a.copy2.flac", kWithin);
    Leave("a.copy1.flac.part.1", kWithin);
    HealEndsWith(4);
    const PlanRun run = Heal();
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.output,
              "heal ./a.copy1.flac ./a.copy2.flac ./a.copy1.flac.part.1 --force --output ./a.flac\n"
              "heal ./a.copy1.flac ./a.copy2.flac --force --output ./a.flac\n");
    HealEndsWith(3);
    const PlanRun lacking = Heal();
    EXPECT_EQ(lacking.exitCode, 3);
    EXPECT_EQ(lacking.output,
              "heal ./a.copy1.flac ./a.copy2.flac ./a.copy1.flac.part.1 --force --output "
              "./a.flac\n");
}

TEST_F(SlurmHealingTest, OneCopyAloneIsTold) {
    Render();
    Leave("a.copy1.flac", kWithin);
    const PlanRun run = Heal();
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "there is nothing to put together\n");
}

TEST_F(SlurmHealingTest, WaitsForTheCopiesOfItsOwnFolder) {
    Render();
    Command("sbatch", "echo \"$@\"");
    Command("squeue", "case \"$*\" in *-heal*|*plan-*) ;; *%A*) echo 7 " + folder_.File("out") +
                          "; echo 8 /elsewhere; echo 9 " + folder_.File("out") + ";; esac");
    const PlanRun run = Run({folder_.File("out/submit.sh"), folder_.File("plan.toml")});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_NE(
        run.output.find("--dependency=afterany:7:9 runs/" + std::string(kName) + "-heal.sh\n"),
        std::string::npos)
        << run.output;
}

TEST_F(SlurmHealingTest, CopiesThatAreCodedWithLossAreLeftAsTheyAre) {
    Render("opus");
    EXPECT_TRUE(fs::exists(Job("2")));
    EXPECT_FALSE(fs::exists(Job("heal")));
    EXPECT_EQ(BytesOfFile(folder_.File("out/submit.sh")).find("-heal"), std::string::npos);
}

}  // namespace receiver
