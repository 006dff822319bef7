#include "receiver_plan/check/plan_check.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "receiver_plan/check/check_texts.h"
#include "receiver_plan/check/icalendar.h"
#include "receiver_plan/plan/plan_reader.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

using namespace std::chrono;

constexpr const char* kHead = R"([defaults]
station = "one"
folder = "/srv/recordings"
max = "1h"
format = "wav"

[stations.one]
url = "http://radio.example/live"
zone = "Europe/Berlin"

)";

const sys_seconds kFrom = sys_days(2026y / March / 27);

Plan PlanOf(const std::string& programs, const std::string& folder = "/plans") {
    return ParsePlan(kHead + programs, "p", folder);
}

std::vector<std::string> FindingsOf(const Plan& plan) {
    return FindingLines(plan, CheckPlan(plan, kFrom, kFrom + days(7)));
}

}  // namespace

TEST(PlanCheck, APlanWithoutFaultsHasNone) {
    EXPECT_EQ(FindingsOf(PlanOf("[programs.a]\nwhen = \"18:30\"\n")), std::vector<std::string>{});
}

TEST(PlanCheck, ARecordingThatIsNotThereIsAFault) {
    const auto findings =
        FindingsOf(PlanOf("[programs.a]\nwhen = \"18:30\"\nstart = \"x=opening.wav\"\n"));
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0],
              "p:13: programs.a.start: /plans/opening.wav is not there; put the "
              "recording there, or mend the path");
}

TEST(PlanCheck, ARecordingThatIsHardToHearIsAWarning) {
    const TempFolder folder;
    const TestPcm silence{.rate = 44100, .channels = 1, .samples = std::vector<int16_t>(88200)};
    WriteWavFile(folder.File("opening.wav"), silence);
    const Plan plan =
        PlanOf("[programs.a]\nwhen = \"18:30\"\nstart = \"opening.wav\"\n", folder.Path().string());
    const PlanCheck check = CheckPlan(plan, kFrom, kFrom + days(7));
    EXPECT_TRUE(check.faults.All().empty());
    const auto findings = FindingLines(plan, check);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].rfind("p:11: programs.a: warning: " + folder.File("opening.wav") +
                                    " is an unfit reference: ",
                                0),
              0u)
        << findings[0];
}

TEST(PlanCheck, ARunThatMayOutlastTheNextBeginningIsAFault) {
    const auto findings = FindingsOf(PlanOf("[programs.a]\nwhen = [\"18:30\", \"19:15\"]\n"));
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(
        findings[0],
        "p:12: programs.a.when: the run of Fri 2026-03-27 18:30:00 +01:00 may last 1h, beyond "
        "the beginning of the next one at Fri 2026-03-27 19:15:00 +01:00; shorten \"max\" or "
        "\"wait\", or make two programmes of it");
    EXPECT_EQ(FindingsOf(PlanOf("[programs.a]\nwhen = [\"18:30\", \"19:30\", \"19:30\"]\n")),
              std::vector<std::string>{});
}

TEST(PlanCheck, ATimeThatClocksLeaveOutIsAWarning) {
    const auto findings = FindingsOf(PlanOf("[programs.a]\nwhen = \"02:30\"\n"));
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_NE(findings[0].find("warning: 2026-03-29 02:30:00 does not exist in Europe/Berlin"),
              std::string::npos)
        << findings[0];
}

TEST(PlanCheck, ATimeThatNeverComesIsAFault) {
    const auto findings = FindingsOf(PlanOf("[programs.a]\nwhen = \"*-02-30 5:00\"\n"));
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_NE(findings[0].find("\"*-02-30 5:00\" never comes"), std::string::npos);
}

TEST(PlanNeeds, ThePeakIsTheFirstMomentWithTheMostRuns) {
    const Plan plan = PlanOf(
        "[programs.a]\nwhen = \"18:00\"\n[programs.b]\nwhen = \"18:30\"\n"
        "[programs.c]\nwhen = \"Sun 18:59:59\"\n[programs.d]\nwhen = "
        "\"Sat 19:30\"\n");
    const PlanNeeds needs = CheckPlan(plan, kFrom, kFrom + days(1)).needs;
    const sys_seconds sunday = sys_days(2026y / March / 29);
    EXPECT_EQ(needs.runsAtPeak,
              (std::vector<PlannedRun>{{sunday + hours(16), sunday + hours(17), 0},
                                       {sunday + minutes(990), sunday + minutes(1050), 1},
                                       {sunday + seconds(61199), sunday + seconds(64799), 2}}));
}

TEST(PlanNeeds, TheDiskHoldsWhatIsKeptAndOneCopyOfWhatIsBeingRecorded) {
    constexpr uint64_t kHour = uint64_t{3600} * 44100 * 4;
    const PlanNeeds kept =
        CheckPlan(PlanOf("[programs.a]\nwhen = \"18:30\"\nkeep = \"3d\"\n"), kFrom, kFrom).needs;
    EXPECT_EQ(kept.bytesOfBusiestDay, kHour);
    EXPECT_EQ(kept.bytesKept, (4 + 1) * kHour);  // the fourth begins before the first is gone
    EXPECT_FALSE(kept.growsForEver);
    EXPECT_TRUE(
        CheckPlan(PlanOf("[programs.a]\nwhen = \"5:00\"\n"), kFrom, kFrom).needs.growsForEver);
}

TEST(PlanNeeds, AFormatHasItsOwnSize) {
    EXPECT_EQ(BytesPerSecond("wav"), 176400u);
    EXPECT_EQ(BytesPerSecond("flac"), 132300u);
    EXPECT_EQ(BytesPerSecond("mp3"), 32000u);
    EXPECT_EQ(BytesText(1023), "1023 B");
    EXPECT_EQ(BytesText(uint64_t{3} << 29), "1.5 GiB");
    EXPECT_EQ(BytesText(uint64_t{200} << 20), "200 MiB");
}

TEST(CheckTexts, TheRunsAreATableInTheStationsTime) {
    const Plan plan = PlanOf("[programs.a]\nwhen = \"18:30\"\ncopies = 2\nkeep = \"1d\"\n");
    const sys_seconds from = sys_days(2026y / March / 28);
    const auto lines = RunLines(plan, CheckPlan(plan, from, from + days(2)), 2);
    EXPECT_EQ(
        lines,
        (std::vector<std::string>{
            "Runs of the next 2 days, as the station's clocks show it:",
            "  Sat 2026-03-28 18:30:00 +01:00  a  one  until 19:30:00 at the latest, 2 copies",
            "  Sun 2026-03-29 18:30:00 +02:00  a  one  until 19:30:00 at the latest, 2 copies",
            "At most 1 at once, first on Sat 2026-03-28 18:30:00 +01:00 until 19:30:00 (a): "
            "0.01 processors, 64.0 MiB of memory.",
            "Disk: 606 MiB on the busiest day; 1.8 GiB at the peak, with all that is kept."}));
}

TEST(CheckTexts, WestOfGreenwichAndHalfHoursAreTold) {
    const sys_seconds noon = sys_days(2026y / March / 28) + hours(12);
    EXPECT_EQ(LocalText(TimeZone::Find("America/St_Johns").value(), noon),
              "Sat 2026-03-28 09:30:00 -02:30");
    EXPECT_EQ(LocalText(TimeZone::Find("Asia/Kathmandu").value(), noon),
              "Sat 2026-03-28 17:45:00 +05:45");
}

TEST(ICalendar, EachRunIsAnEventWithANameOfItsOwn) {
    const Plan plan = PlanOf("[programs.a]\nwhen = \"18:30\"\n");
    const auto runs = AllRuns(plan, kFrom, kFrom + days(1));
    EXPECT_EQ(ICalendar(plan, runs),
              "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//ReceiverHost//receiver-plan//EN\r\n"
              "BEGIN:VEVENT\r\nUID:20260327T173000Z-a@receiver-plan\r\nDTSTAMP:20260327T173000Z\r\n"
              "DTSTART:20260327T173000Z\r\nDTEND:20260327T183000Z\r\nSUMMARY:a (one)\r\n"
              "END:VEVENT\r\nEND:VCALENDAR\r\n");
}

TEST(ICalendar, NoLineIsLongerThanItMayBe) {
    const std::string name(40, 'n');
    const Plan plan = ParsePlan(std::string("[stations.") + name +
                                    "]\nurl = \"http://r/\"\nzone = \"UTC\"\n[programs." + name +
                                    "]\nstation = \"" + name +
                                    "\"\nwhen = \"5:00\"\nmax = \"1h\"\nfolder = \"/f\"\n",
                                "p", "/");
    const std::string calendar = ICalendar(plan, AllRuns(plan, kFrom, kFrom + days(1)));
    EXPECT_NE(calendar.find("SUMMARY:" + name + " (" + name.substr(0, 25) + "\r\n " +
                            name.substr(25) + ")\r\n"),
              std::string::npos)
        << calendar;
}

}  // namespace receiver
