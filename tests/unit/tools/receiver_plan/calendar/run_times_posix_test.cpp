#include "receiver_plan/calendar/run_times.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "receiver_plan/check/plan_runs.h"
#include "testing/patience.h"

namespace receiver {
namespace {

using namespace std::chrono;

TimeZone Zone(const std::string& name) {
    return TimeZone::Find(name).value();
}

// In UTC.
std::vector<std::string> Texts(const std::vector<sys_seconds>& runs) {
    std::vector<std::string> texts;
    for (const sys_seconds run : runs) {
        const local_seconds time(run.time_since_epoch());
        texts.push_back(DateText(time) + " " + ClockText(time));
    }
    return texts;
}

std::vector<std::string> Runs(const std::string& when, const std::string& zone, sys_seconds from,
                              size_t most) {
    return Texts(
        RunsBetween(CalendarExpression::Parse(when), Zone(zone), from, from + years(5), most));
}

// What systemd makes of it from the second after `base` on.
std::vector<std::string> SystemdRuns(const std::string& when, const std::string& base,
                                     size_t most) {
    ChildProcess process(
        "env",
        {"TZ=UTC", "LC_ALL=C", "systemd-analyze", "calendar", "--base-time=" + base + " UTC",
         "--iterations=" + std::to_string(most), when},
        ChildProcess::ErrorStream::kCapture);
    const uint64_t deadline = TickMs() + kPatienceMs;
    const std::string output = process.ReadAllOutput(deadline).value_or("");
    EXPECT_EQ(process.WaitForExit(deadline), 0) << when;
    std::vector<std::string> runs;
    const std::regex line("(?:Next elapse|Iter\\. #[0-9]+): [A-Z][a-z]{2} ([-0-9]+ [:0-9]+) UTC");
    for (std::sregex_iterator at(output.begin(), output.end(), line), end; at != end; ++at) {
        runs.push_back((*at)[1]);
    }
    return runs;
}

}  // namespace

TEST(RunTimes, TheSameTimeOfDayIsAnotherInstantInSummer) {
    EXPECT_EQ(Runs("18:30", "Europe/Berlin", sys_days(2026y / March / 28), 2),
              (std::vector<std::string>{"2026-03-28 17:30:00", "2026-03-29 16:30:00"}));
}

TEST(RunTimes, ATimeThatClocksLeaveOutIsLeftOut) {
    EXPECT_EQ(Runs("02:30", "Europe/Berlin", sys_days(2026y / March / 28), 2),
              (std::vector<std::string>{"2026-03-28 01:30:00", "2026-03-30 00:30:00"}));
    const std::vector<local_seconds> times =
        TimesLeftOut(CalendarExpression::Parse("02:30"), Zone("Europe/Berlin"),
                     sys_days(2026y / March / 1), sys_days(2026y / April / 1));
    ASSERT_EQ(times.size(), 1u);
    EXPECT_EQ(DateText(times[0]) + " " + ClockText(times[0]), "2026-03-29 02:30:00");
}

TEST(RunTimes, ATimeThatClocksShowTwiceComesOnceTheFirstTime) {
    EXPECT_EQ(Runs("*:30", "Europe/Berlin", sys_days(2026y / October / 25), 3),
              (std::vector<std::string>{"2026-10-25 00:30:00", "2026-10-25 02:30:00",
                                        "2026-10-25 03:30:00"}));
}

TEST(RunTimes, TheStretchHasItsBeginningAndNotItsEnd) {
    const sys_seconds noon = sys_days(2026y / May / 1) + hours(12);
    const auto runs =
        RunsBetween(CalendarExpression::Parse("12:00"), Zone("UTC"), noon, noon + days(1), 9);
    EXPECT_EQ(Texts(runs), std::vector<std::string>{"2026-05-01 12:00:00"});
}

TEST(RunTimes, ADayThatIsInNoCalendarNeverComes) {
    const sys_seconds from = sys_days(2026y / May / 1);
    EXPECT_FALSE(NextRun(CalendarExpression::Parse("*-02-30 5:00"), Zone("UTC"), from));
    EXPECT_FALSE(NextRun(CalendarExpression::Parse("2025-*-* 5:00"), Zone("UTC"), from));
    EXPECT_EQ(NextRun(CalendarExpression::Parse("*-02-29 5:00"), Zone("UTC"), from),
              sys_days(2028y / February / 29) + hours(5));
}

TEST(RunTimes, AnUnknownZoneIsNone) {
    EXPECT_FALSE(TimeZone::Find("Europe/Nowhere"));
    EXPECT_FALSE(TimeZone::Find(""));
}

TEST(RunTimes, TheyAreThoseOfSystemd) {
    if (!std::filesystem::exists("/usr/bin/systemd-analyze")) {
        GTEST_SKIP() << "systemd is not installed";
    }
    constexpr size_t kRuns = 30;
    const std::string bases[] = {"2026-03-27 00:00:00", "2026-10-24 00:00:00",
                                 "2028-02-27 12:34:56"};
    const sys_seconds froms[] = {
        sys_days(2026y / March / 27) + seconds(1), sys_days(2026y / October / 24) + seconds(1),
        sys_days(2028y / February / 27) + hours(12) + minutes(34) + seconds(57)};
    for (const std::string zone :
         {"Europe/Berlin", "America/New_York", "Australia/Lord_Howe", "Asia/Kathmandu", "UTC"}) {
        for (const std::string when :
             {"Mon..Fri *-*-* 18:30:00", "*-*-* 02:30", "*-*-* *:15:30", "*:0/10",
              "Sat,Sun *-*-1..7 6:5", "*-1/2-29,31 23:59:59", "Mon,Wed..Thu 8..18/3:20,40",
              "2026..2030/2-*-29 05:00", "daily", "weekly", "quarterly", "hourly", "04-05 7:00"}) {
            for (size_t i = 0; i < std::size(bases); ++i) {
                std::vector<std::string> ours = Runs(when, zone, froms[i], kRuns);
                std::vector<std::string> theirs =
                    SystemdRuns(when + std::string(" ") + zone, bases[i], kRuns);
                // It may know of runs beyond the stretch that is asked for here.
                if (theirs.size() > ours.size() && ours.size() < kRuns) theirs.resize(ours.size());
                EXPECT_FALSE(ours.empty());
                EXPECT_EQ(ours, theirs) << when << " " << zone << " from " << bases[i];
            }
        }
    }
}

}  // namespace receiver
