// The tables of docs/fleet.md are what the programs say.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "plan/plan_run.h"

namespace receiver {

TEST(PlanFleet, TheTablesAreThoseThatTheScriptMakesOfAPlansNeeds) {
    const std::string root = PLAN_TESTS_PATH "/../../";
    const PlanRun run =
        RunProgram("python3", {root + "scripts/fleet", "--bin", ExecutableDirectory().string()});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const std::string page = BytesOfFile(root + "docs/fleet.md");
    std::istringstream output(run.output);
    size_t rows = 0;
    for (std::string line; std::getline(output, line);) {
        EXPECT_NE(page.find("\n" + line + "\n"), std::string::npos) << line;
        if (line.starts_with("| ")) ++rows;
    }
    EXPECT_EQ(rows, 6u + 6u);  // with their heads
}

}  // namespace receiver
