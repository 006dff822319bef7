// A plan as tasks of the Task Scheduler.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "receiver_plan/plan/plan_faults.h"
#include "receiver_plan/plan/plan_reader.h"
#include "receiver_plan/plan/windows_path.h"
#include "receiver_plan/render/rendered_files.h"

namespace receiver {
namespace {

const RenderOptions kBerlin = {.machineZone = "Europe/Berlin", .day = {}};

Plan PlanOf(const std::string& program, const std::string& path = "/plans/p.toml") {
    return ParsePlan(
        "[defaults]\nmax = \"1h\"\n"
        "[stations.one]\nurl = \"http://radio.example/live?a=1&b=%20\"\n"
        "zone = \"Europe/Berlin\"\n[programs.a]\nstation = \"one\"\n" +
            program +
            (program.find("folder") == std::string::npos ? "\nfolder = 'D:\\Radio'\n" : ""),
        path, "/plans");
}

std::string TaskOf(const std::string& program) {
    return RenderTaskScheduler(PlanOf(program), kBerlin).at("machine-1/a.xml");
}

std::vector<std::string> FaultsOf(const std::string& program,
                                  const RenderOptions& options = kBerlin) {
    std::vector<std::string> lines;
    try {
        RenderTaskScheduler(PlanOf(program), options);
    } catch (const FaultyPlan& faulty) {
        for (const PlanFault& fault : faulty.All()) lines.push_back(FaultLine("p", fault));
    }
    return lines;
}

void ExpectTriggers(const std::string& when, const std::string& triggers) {
    const std::string task = TaskOf("when = " + when);
    const size_t begin = task.find("<Triggers>\n") + 11;
    EXPECT_EQ(task.substr(begin, task.find("  </Triggers>") - begin), triggers) << when;
}

std::string Calendar(const std::string& start, const std::string& schedule) {
    return "    <CalendarTrigger><StartBoundary>" + start + "</StartBoundary>" + schedule +
           "</CalendarTrigger>\n";
}

void ExpectFault(const std::string& program, const std::string& begin, const std::string& part) {
    const std::vector<std::string> faults = FaultsOf(program);
    ASSERT_EQ(faults.size(), 1u) << program;
    EXPECT_EQ(faults[0].find(begin), 0u) << faults[0];
    EXPECT_NE(faults[0].find(part), std::string::npos) << faults[0];
}

}  // namespace

TEST(RenderTaskScheduler, DaysWeeksMonthsAndSingleDaysAreTriggersOfTheirKinds) {
    const std::string daily = "<ScheduleByDay><DaysInterval>1</DaysInterval></ScheduleByDay>";
    ExpectTriggers("\"18:25\"", Calendar("2020-01-01T18:25:00", daily));
    ExpectTriggers("\"8,20:00:05\"",
                   Calendar("2020-01-01T08:00:05", daily) + Calendar("2020-01-01T20:00:05", daily));
    ExpectTriggers("\"Sun,Mon 9:00\"",
                   Calendar("2020-01-01T09:00:00",
                            "<ScheduleByWeek><DaysOfWeek><Sunday /><Monday /></DaysOfWeek>"
                            "<WeeksInterval>1</WeeksInterval></ScheduleByWeek>"));
    ExpectTriggers("\"*-2,12-1,31 9:00\"",
                   Calendar("2020-01-01T09:00:00",
                            "<ScheduleByMonth><DaysOfMonth><Day>1</Day><Day>31</Day></DaysOfMonth>"
                            "<Months><February /><December /></Months></ScheduleByMonth>"));
    ExpectTriggers("\"2026-12-24 17:00\"",
                   "    <TimeTrigger><StartBoundary>2026-12-24T17:00:00</StartBoundary>"
                   "</TimeTrigger>\n");
}

TEST(RenderTaskScheduler, WhatItsCalendarCannotSayIsAFaultWithARemedy) {
    ExpectFault("when = \"2026-12-* 17:00\"", "p:8: programs.a.when: ", "knows no years");
    ExpectFault("when = \"2026..2027-12-24 17:00\"", "p:8: ", "knows no years");
    ExpectFault("when = \"Fri 2026-12-24 17:00\"", "p:8: ", "knows no years");  // a Thursday
    ExpectFault("when = \"Fri *-*-13 17:00\"", "p:8: ", "give the one or the other");
    ExpectFault("when = \"Fri *-12-* 17:00\"", "p:8: ", "give the one or the other");
    ExpectFault("when = \"*:0/15\"", "p:8: ", "48 times of a day in one task, and these are 96");
    EXPECT_TRUE(FaultsOf("when = \"*:0/30\"").empty());
}

TEST(RenderTaskScheduler, WhatItCannotDoIsAFault) {
    ExpectFault("when = \"5:00\"\nrun = \"echo\"", "p:9: programs.a.run: ", "leave it out");
    ExpectFault("when = \"5:00\"\nkeep = \"3d\"", "p:9: programs.a.keep: ", "removes no files");
    ExpectFault("when = \"5:00\"\nfolder = 'D:\\100%'", "p:9: programs.a.folder: ", "cmd.exe");
    ExpectFault("when = \"5:00\"\nname = \"a\\u0001\"",
                "p:10: programs.a.folder: ", "control character");
    const std::vector<std::string> zone =
        FaultsOf("when = \"5:00\"", {.machineZone = "Europe/London", .day = {}});
    ASSERT_EQ(zone.size(), 1u);
    EXPECT_NE(zone[0].find("the Task Scheduler goes by the machine's clocks, Europe/London"),
              std::string::npos);
    EXPECT_THROW(RenderTaskScheduler(PlanOf("when = \"5:00\""), {}), std::invalid_argument);
}

// Backslashes count only before quotation marks, and there each twice.
TEST(RenderTaskScheduler, ArgumentsAreQuotedAsProgramsOfWindowsReadThem) {
    const std::string task =
        TaskOf("when = \"5:00\"\nstart = 'C:/a b\\\"c\".wav'\nname = \"%F {title}\"\n");
    EXPECT_NE(
        task.find("<Exec><Command>cmd.exe</Command><Arguments>/d /c if not exist "
                  "&quot;D:\\Radio\\a&quot; mkdir &quot;D:\\Radio\\a&quot;</Arguments></Exec>\n"
                  "    <Exec><Command>receiver-record.exe</Command><Arguments>"
                  "http://radio.example/live?a=1&amp;b=%20 "
                  "--start &quot;C:\\a b\\\\\\&quot;c\\&quot;.wav&quot; --wait 15m --max 1h "
                  "--output &quot;D:\\Radio\\a\\%F {title}.flac&quot;</Arguments></Exec>\n"),
        std::string::npos)
        << task;
}

TEST(RenderTaskScheduler, ThePlansNameEndsNoComment) {
    const RenderedFiles files =
        RenderTaskScheduler(PlanOf("when = \"5:00\"", "/plans/a--->b.toml"), kBerlin);
    const std::string& task = files.at("machine-1/a.xml");
    EXPECT_EQ(task.find("<!-- Made by receiver-plan from a- - ->b.toml; "), 0u) << task;
    EXPECT_TRUE(IsRendered(task));
    EXPECT_FALSE(IsRendered("<!-- Made by hand -->"));
}

TEST(WindowsPath, IsOneWithADriveOrAServer) {
    for (const char* path : {"C:\\a", "z:/a", "\\\\server\\share", "D:\\"}) {
        EXPECT_TRUE(IsWindowsPath(path)) << path;
    }
    for (const char* path :
         {"", "C", "C:", "C:a", "/a", "\\a", "//server/share", "1:\\a", "ab:\\c"}) {
        EXPECT_FALSE(IsWindowsPath(path)) << path;
    }
    EXPECT_EQ(FileOfRecording("id=C:\\a=b.wav"), "C:\\a=b.wav");
    EXPECT_EQ(FileOfRecording("C:\\a=b.wav"), "C:\\a=b.wav");
    EXPECT_EQ(FileOfRecording("/a=b.wav"), "/a=b.wav");
}

TEST(WindowsPath, SurvivesTheReaderOfPlans) {
    const Plan plan = PlanOf("when = \"5:00\"\nstart = ['C:\\x\\y.wav', 'id=\\\\s\\y.wav']\n");
    EXPECT_EQ(plan.programs.at(0).folder, "D:\\Radio");
    EXPECT_EQ(plan.programs.at(0).starts,
              (std::vector<std::string>{"C:\\x\\y.wav", "id=\\\\s\\y.wav"}));
}

}  // namespace receiver
