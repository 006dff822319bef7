#include "receiver_plan/report/week.h"

#include <gtest/gtest.h>

#include <string>

#include "receiver_plan/plan/plan_reader.h"
#include "receiver_plan/report/week_page.h"

namespace receiver {
namespace {

using namespace std::chrono;

constexpr double kNear = 1e-12;
constexpr sys_days kMonday = 2026y / March / 30;

// Of a plan whose stations "one" and "two" are in these zones.
Plan PlanOf(const std::string& programs, const std::string& one = "UTC",
            const std::string& two = "UTC") {
    return ParsePlan(
        "[defaults]\nstation = \"one\"\nfolder = \"/srv\"\nmax = \"1h\"\n"
        "[stations.one]\nurl = \"http://radio.example/\"\nzone = \"" +
            one + "\"\n[stations.two]\nurl = \"http://radio.example/\"\nzone = \"" + two + "\"\n" +
            programs,
        "plans/week.toml", "/");
}

Week Laid(const Plan& plan, sys_seconds from, sys_seconds until) {
    return WeekOf(plan, AllRuns(plan, from, until), from, until);
}

}  // namespace

TEST(Week, ABarLiesWhereItsRunDoesInTheDay) {
    const Plan plan = PlanOf("[programs.a]\nwhen = \"Mon 18:00\"\n");
    const Week week = Laid(plan, kMonday, kMonday + days(2));
    ASSERT_EQ(week.days.size(), 2u);
    ASSERT_EQ(week.days[0].rows.size(), 1u);
    ASSERT_EQ(week.days[0].rows[0].bars.size(), 1u);
    const WeekBar& bar = week.days[0].rows[0].bars[0];
    EXPECT_NEAR(bar.left, 0.75, kNear);
    EXPECT_NEAR(bar.width, 1.0 / 24, kNear);
    EXPECT_FALSE(bar.beganBefore || bar.goesOn);
    EXPECT_TRUE(week.days[1].rows.empty());
    EXPECT_TRUE(week.days[1].load.empty());
    EXPECT_EQ(week.most, 1u);
}

TEST(Week, ARunOverMidnightHasABarInBothDays) {
    const Plan plan = PlanOf("[programs.a]\nwhen = \"Mon 23:30\"\n");
    const Week week = Laid(plan, kMonday, kMonday + days(2));
    const WeekBar& evening = week.days.at(0).rows.at(0).bars.at(0);
    EXPECT_TRUE(evening.goesOn);
    EXPECT_NEAR(evening.left + evening.width, 1.0, kNear);
    const WeekBar& morning = week.days.at(1).rows.at(0).bars.at(0);
    EXPECT_TRUE(morning.beganBefore);
    EXPECT_NEAR(morning.left, 0.0, kNear);
    EXPECT_NEAR(morning.width, 0.5 / 24, kNear);
}

TEST(Week, RunsOfAStationThatOverlapLieInLanesAndCountTogether) {
    const Plan plan = PlanOf(
        "[programs.a]\nwhen = \"Mon 18:00\"\n[programs.b]\nwhen = \"Mon 18:30\"\n"
        "[programs.c]\nwhen = \"Mon 19:00\"\n[programs.d]\nstation = \"two\"\nwhen = \"Mon "
        "18:45\"\n");
    const Week week = Laid(plan, kMonday, kMonday + days(1));
    const WeekDay& day = week.days.at(0);
    ASSERT_EQ(day.rows.size(), 2u);
    EXPECT_EQ(day.rows[0].lanes, 2u);
    EXPECT_EQ(day.rows[0].bars.at(0).lane, 0u);
    EXPECT_EQ(day.rows[0].bars.at(1).lane, 1u);
    EXPECT_EQ(day.rows[0].bars.at(2).lane, 0u);
    EXPECT_EQ(week.most, 3u);
    std::string counts;
    for (const WeekLoad& load : day.load) counts += std::to_string(load.runs);
    EXPECT_EQ(counts, "0123210");  // at 19:00 one hands over to another
    EXPECT_NEAR(day.load[1].left, 0.75, kNear);
}

TEST(Week, ADayHasTheHoursThatClocksShowOnIt) {
    const Plan plan = PlanOf("[programs.a]\nwhen = \"12:00\"\n", "Europe/Berlin", "Europe/Berlin");
    const sys_seconds sunday = sys_days(2026y / March / 29) - hours(1);  // local midnight
    const Week week = Laid(plan, sunday, sunday + hours(23));
    ASSERT_EQ(week.days.size(), 1u);
    EXPECT_TRUE(week.isStationsZone);
    EXPECT_NEAR(week.days[0].rows.at(0).bars.at(0).left, 11.0 / 23, kNear);
    EXPECT_EQ(week.days[0].hours.at(0).text, "3");
    EXPECT_NEAR(week.days[0].hours.at(0).left, 2.0 / 23, kNear);
}

TEST(Week, ADayOfWhichOnlyAPartIsAskedAboutIsNotToldToBeEmpty) {
    const Plan plan = PlanOf("[programs.a]\nwhen = \"Tue 18:00\"\n");
    const Week week = Laid(plan, kMonday + hours(12), kMonday + hours(60));
    ASSERT_EQ(week.days.size(), 1u);
    EXPECT_EQ(week.days[0].rows.size(), 1u);
    EXPECT_EQ(Laid(plan, kMonday, kMonday + hours(48)).days.size(), 2u);
}

TEST(Week, StationsOfSeveralZonesAreShownInUtc) {
    const Plan plan = PlanOf("[programs.a]\nwhen = \"12:00\"\n", "Europe/Berlin", "Asia/Kathmandu");
    const Week week = Laid(plan, kMonday, kMonday + days(1));
    EXPECT_FALSE(week.isStationsZone);
    EXPECT_EQ(week.days.size(), 1u);
    EXPECT_NEAR(week.days[0].rows.at(0).bars.at(0).left, 10.0 / 24, kNear);
}

TEST(WeekPage, ItTellsTheNeedsTheOverlapsAndEveryRun) {
    const Plan plan = PlanOf(
        "[programs.a]\nwhen = \"Mon 18:00\"\ncopies = 2\n[programs.b]\nwhen = \"Mon 18:30\"\n"
        "[programs.c]\nwhen = \"Mon 5:00\"\nstart = \"<missing>.wav\"\n");
    const PlanCheck check = CheckPlan(plan, kMonday, kMonday + days(1));
    const std::string page = WeekPage(plan, check, kMonday, kMonday + days(1));
    for (const char* const part :
         {"<h1>week.toml</h1>",
          "3 runs from Mon 2026-03-30 00:00:00 +00:00 until Tue 2026-03-31 00:00:00 +00:00. The "
          "days "
          "are those of UTC.",
          "plans/week.toml:18: programs.c.start: /&lt;missing&gt;.wav is not there",
          "At most 2 at once, first on Mon 2026-03-30 18:30:00 +00:00 until 19:00:00 (a, b)",
          "<h3>Mon 2026-03-30 <small>2 at once</small></h3>",
          "title=\"a, 18:00 until 19:00 at the latest, 2 copies\">a</div>",
          "<rect class=peak x=\"770.83\" y=\"0.00\" width=\"20.83\" height=\"100.00\"><title>2 at "
          "once</title>",
          "<li>Mon 2026-03-30 18:30:00 +00:00 until 19:00:00: a, b</li>",
          "<td class=number data-label=Copies>2</td>"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part << "\n" << page;
    }
    EXPECT_EQ(page.find("<missing>"), std::string::npos);
}

TEST(WeekPage, APlanWithoutRunsHasAPageThatSaysSo) {
    const Plan plan = PlanOf("[programs.a]\nwhen = \"Tue 18:00\"\n");
    const PlanCheck check = CheckPlan(plan, kMonday, kMonday + days(1));
    const std::string page = WeekPage(plan, check, kMonday, kMonday + days(1));
    EXPECT_NE(page.find("No run from "), std::string::npos);
    EXPECT_NE(page.find("Nothing is recorded."), std::string::npos);
    EXPECT_EQ(page.find("Every run"), std::string::npos);
}

}  // namespace receiver
