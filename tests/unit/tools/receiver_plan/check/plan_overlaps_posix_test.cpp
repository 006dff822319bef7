#include "receiver_plan/check/plan_overlaps.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "receiver_plan/check/check_texts.h"
#include "receiver_plan/plan/plan_reader.h"

namespace receiver {
namespace {

using namespace std::chrono;

constexpr sys_seconds kDay = sys_days(2026y / March / 30);

PlannedRun RunAt(int fromMinute, int untilMinute, size_t program) {
    return {kDay + minutes(fromMinute), kDay + minutes(untilMinute), program};
}

// The line of an overlap, of a plan with these times; each programme lasts an hour.
std::vector<std::string> OverlapLines(const std::vector<std::string>& times) {
    std::string text =
        "[defaults]\nstation = \"one\"\nfolder = \"/srv\"\nmax = \"1h\"\n[stations.one]\n"
        "url = \"http://radio.example/\"\nzone = \"Europe/Berlin\"\n";
    for (size_t i = 0; i < times.size(); ++i) {
        text += "[programs.p" + std::to_string(100 + i) + "]\nwhen = \"" + times[i] + "\"\n";
    }
    const Plan plan = ParsePlan(text, "p", "/");
    std::vector<std::string> lines = RunLines(plan, CheckPlan(plan, kDay, kDay + days(1)), 1);
    std::erase_if(lines, [](const std::string& line) {
        return line[0] != ' ' || line.ends_with("at the latest");
    });
    return lines;
}

}  // namespace

TEST(PlanOverlaps, RunsOneAfterAnotherHaveNone) {
    EXPECT_TRUE(OverlapsOf({}).empty());
    EXPECT_TRUE(OverlapsOf({RunAt(0, 60, 0), RunAt(60, 120, 1), RunAt(130, 140, 0)}).empty());
}

TEST(PlanOverlaps, OneLastsAsLongAsTwoRunsDo) {
    const auto overlaps = OverlapsOf({RunAt(0, 60, 0), RunAt(30, 90, 1), RunAt(100, 160, 0)});
    ASSERT_EQ(overlaps.size(), 1u);
    EXPECT_EQ(overlaps[0].from, kDay + minutes(30));
    EXPECT_EQ(overlaps[0].until, kDay + minutes(60));
    EXPECT_EQ(overlaps[0].runs, (std::vector<PlannedRun>{RunAt(0, 60, 0), RunAt(30, 90, 1)}));
    EXPECT_EQ(overlaps[0].most, 2u);
}

TEST(PlanOverlaps, RunsThatHandOverWithoutAPauseAreOneOverlap) {
    const auto overlaps = OverlapsOf(
        {RunAt(0, 100, 0), RunAt(10, 50, 1), RunAt(20, 30, 2), RunAt(40, 80, 3), RunAt(45, 50, 4)});
    ASSERT_EQ(overlaps.size(), 1u);
    EXPECT_EQ(overlaps[0].from, kDay + minutes(10));
    EXPECT_EQ(overlaps[0].until, kDay + minutes(80));
    EXPECT_EQ(overlaps[0].runs.size(), 5u);
    EXPECT_EQ(overlaps[0].most, 4u);
    EXPECT_EQ(overlaps[0].mostFrom, kDay + minutes(45));
    EXPECT_EQ(overlaps[0].mostUntil, kDay + minutes(50));
}

TEST(PlanOverlaps, EachPauseBetweenThemMakesAnother) {
    const auto overlaps =
        OverlapsOf({RunAt(0, 100, 0), RunAt(10, 20, 1), RunAt(20, 30, 2), RunAt(40, 200, 3)});
    ASSERT_EQ(overlaps.size(), 3u);
    EXPECT_EQ(overlaps[1].from, kDay + minutes(20));
    EXPECT_EQ(overlaps[1].until, kDay + minutes(30));
    EXPECT_EQ(overlaps[2].until, kDay + minutes(100));
}

TEST(PlanOverlaps, TheyAreToldWithTheirTimesAndTheirPeak) {
    EXPECT_EQ(OverlapLines({"18:00", "20:00"}), std::vector<std::string>{});
    EXPECT_EQ(
        OverlapLines({"18:00", "18:30"}),
        std::vector<std::string>{"  Mon 2026-03-30 18:30:00 +02:00 until 19:00:00: p100, p101"});
    EXPECT_EQ(OverlapLines({"18:00", "18:30", "18:45"}),
              std::vector<std::string>{"  Mon 2026-03-30 18:30:00 +02:00 until 19:30:00: p100, "
                                       "p101, p102; 3 at once from 18:45:00 until 19:00:00"});
}

TEST(PlanOverlaps, OfManyRunsTheFirstNamesAreTold) {
    const auto lines = OverlapLines(std::vector<std::string>(14, "18:00"));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("p110, p111 and 2 more; 14 at once from 18:00:00 until 19:00:00"),
              std::string::npos)
        << lines[0];
}

}  // namespace receiver
