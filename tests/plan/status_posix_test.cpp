// "receiver-plan status" as people run it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "plan/plan_run.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class PlanStatusRunTest : public testing::Test {
protected:
    // A recording of an evening that lies in the past for good.
    void Record(const std::string& file, const std::string& day, const std::string& message = "",
                const std::string& outcome = "source-error") const {
        const std::string path = folder_.File(file);
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path) << "audio";
        std::ofstream(path + ".json") << json{{"complete", message.empty()},
                                              {"outcome", message.empty() ? "complete" : outcome},
                                              {"message", message},
                                              {"startedAt", day + "T18:25:01.000Z"},
                                              {"finishedAt", day + "T19:25:01.000Z"}};
    }
    std::string Plan() const {
        std::ofstream(folder_.File("plan.toml"))
            << "[stations.one]\nurl = \"http://radio.example/live\"\nzone = \"UTC\"\n"
               "[programs.evening]\nstation = \"one\"\nwhen = \"Mon..Fri 18:25\"\n"
               "max = \"1h\"\nfolder = \"r\"\ncopies = 2\n";
        return folder_.File("plan.toml");
    }
    PlanRun Status(std::vector<std::string> more) const {
        std::vector<std::string> arguments = {"status", "--from", "2026-03-30", "--days", "3"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunPlan(arguments);
    }

    const TempFolder folder_;
};

}  // namespace

TEST_F(PlanStatusRunTest, CopiesOfTwoMachinesAreToldTogetherAndWhatWasMissedWithThem) {
    const std::string one = folder_.File("one");
    const std::string two = folder_.File("two");
    Record("one/evening/mon.copy1.flac", "2026-03-30", "The station was lost");
    Record("two/evening/mon.copy2.flac", "2026-03-30");
    Record("one/evening/tue.copy1.flac", "2026-03-31", "The station was lost");
    const PlanRun run = Status({"--plan", Plan(), one, two});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.output,
              "Runs of 3 days, as the station's clocks show it:\n"
              "  Mon 2026-03-30 18:25:00 +00:00  evening  complete\n"
              "      " +
                  one +
                  "/evening/mon.copy1.flac: The station was lost\n"
                  "  Tue 2026-03-31 18:25:00 +00:00  evening  damaged\n"
                  "      copy 2 is missing\n"
                  "      " +
                  one +
                  "/evening/tue.copy1.flac: The station was lost\n"
                  "  Wed 2026-04-01 18:25:00 +00:00  evening  missed\n"
                  "3 runs: 1 complete, 1 damaged, 1 missed.\n");
    Record("two/evening/tue.copy2.flac", "2026-03-31");
    Record("one/evening/wed.copy1.flac", "2026-04-01");
    EXPECT_EQ(Status({"--plan", Plan(), one, two}).exitCode, 3);
    Record("two/evening/wed.copy2.flac", "2026-04-01");
    EXPECT_EQ(Status({"--plan", Plan(), one, two}).exitCode, 0);
}

TEST_F(PlanStatusRunTest, ForProgramsEveryLineIsAnObject) {
    Record("evening/a.flac", "2026-03-30");
    Record("evening/b.flac", "2026-03-31", "The disk is full", "output-error");
    std::ofstream(folder_.File("evening/c.flac")) << "audio";
    std::ofstream(folder_.File("evening/c.flac.json")) << "{\"complete\":";
    fs::last_write_time(
        folder_.File("evening/c.flac"),
        fs::last_write_time(folder_.File("evening/c.flac")) - std::chrono::hours(1000000));
    const PlanRun run = Status({"--json", folder_.Path().string()});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.errors, "");
    std::vector<json> objects;
    std::istringstream lines(run.output);
    for (std::string line; std::getline(lines, line);) objects.push_back(json::parse(line));
    ASSERT_EQ(objects.size(), 3u) << run.output;
    EXPECT_EQ(objects[0]["state"], "complete");
    EXPECT_EQ(objects[0]["planned"], false);
    EXPECT_EQ(objects[1]["state"], "damaged");
    EXPECT_EQ(objects[1]["recordings"][0]["message"], "The disk is full");
    EXPECT_EQ(objects[2]["type"], "NOTE");
}

TEST_F(PlanStatusRunTest, HostileRecordsAreToldAndLeftOut) {
    const std::vector<std::string> hostile = {"",
                                              "{",
                                              "null",
                                              "[[[[",
                                              std::string(300000, '{'),
                                              std::string(5000000, ' '),
                                              "{\"complete\":\"yes\",\"outcome\":{},\"message\":7}",
                                              "{\"complete\":true,\"outcome\":\"\",\"message\":"
                                              "\"\",\"startedAt\":\"\",\"finishedAt\":\"\"}",
                                              "\xFF\xFE\x00"};
    fs::create_directories(folder_.File("evening"));
    for (size_t i = 0; i < hostile.size(); ++i) {
        const std::string path = folder_.File("evening/" + std::to_string(i) + ".flac");
        std::ofstream(path) << "audio";
        std::ofstream(path + ".json") << hostile[i];
    }
    const PlanRun run = RunPlan({"status", folder_.Path().string()});
    EXPECT_EQ(run.exitCode, 3);
    for (size_t i = 0; i < hostile.size(); ++i) {
        EXPECT_NE(run.errors.find("/" + std::to_string(i) + ".flac.json: left out: "),
                  std::string::npos)
            << run.errors;
    }
    EXPECT_NE(run.output.find(std::to_string(hostile.size()) +
                              " runs: " + std::to_string(hostile.size()) + " damaged."),
              std::string::npos)
        << run.output;
}

TEST_F(PlanStatusRunTest, ThePageIsWrittenAndNotReplacedUnasked) {
    Record("evening/a.flac", "2026-03-30");
    const std::string page = folder_.File("status.html");
    EXPECT_EQ(Status({folder_.Path().string(), "--html", page}).exitCode, 0);
    EXPECT_NE(BytesOfFile(page).find("Every run"), std::string::npos);
    EXPECT_EQ(Status({folder_.Path().string(), "--html", page}).exitCode, 6);
    EXPECT_EQ(Status({folder_.Path().string(), "--html", page, "--force"}).exitCode, 0);
}

TEST_F(PlanStatusRunTest, WrongCommandLinesFoldersAndPlansAreToldApart) {
    EXPECT_EQ(RunPlan({"status"}).exitCode, 2);
    EXPECT_EQ(RunPlan({"status", folder_.Path().string(), "--days", "0"}).exitCode, 2);
    EXPECT_EQ(RunPlan({"status", folder_.Path().string(), "--from", "monday"}).exitCode, 2);
    const PlanRun none = RunPlan({"status", folder_.File("none")});
    EXPECT_EQ(none.exitCode, 4);
    EXPECT_NE(none.errors.find(folder_.File("none") + ": "), std::string::npos);
    EXPECT_EQ(RunPlan({"status", folder_.Path().string(), "--plan", "none"}).exitCode, 4);
    const PlanRun empty = RunPlan({"status", folder_.Path().string()});
    EXPECT_EQ(empty.exitCode, 0);
    EXPECT_EQ(empty.output, "No run.\n");
}

}  // namespace receiver
