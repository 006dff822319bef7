#include "receiver_plan/render/rendered_files.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "receiver_plan/plan/plan_faults.h"
#include "receiver_plan/plan/plan_reader.h"
#include "receiver_plan/render/folder_difference.h"

namespace receiver {
namespace {

using namespace std::chrono;
using Strings = std::vector<std::string>;

Plan PlanOf(const std::string& program, const std::string& more = "") {
    return ParsePlan(
        "[defaults]\nmax = \"1h\"\nfolder = \"/srv/rec\"\n"
        "[stations.one]\nurl = \"http://radio.example/live?a=1&b=%20\"\n"
        "zone = \"Europe/Berlin\"\n[programs.a]\nstation = \"one\"\n" +
            program + more,
        "/plans/p.toml", "/plans");
}

std::string FileOf(const RenderedFiles& files, const std::string& name) {
    const auto found = files.find(name);
    return found == files.end() ? "no file " + name : found->second;
}

std::string CronLine(const std::string& program) {
    const std::string text =
        FileOf(RenderCron(PlanOf(program), {.machineZone = "Europe/Berlin", .day = {}}),
               "machine-1/etc/cron.d/receiver-plan");
    const size_t at = text.find("# a\n");
    return text.substr(at + 4, text.find('\n', at + 4) - at - 4);
}

Strings CronFaults(const std::string& program, const std::string& zone = "Europe/Berlin") {
    Strings lines;
    try {
        RenderCron(PlanOf(program), {.machineZone = zone, .day = {}});
    } catch (const FaultyPlan& faulty) {
        for (const PlanFault& fault : faulty.All()) lines.push_back(FaultLine("p", fault));
    }
    return lines;
}

void ExpectCronFault(const std::string& program, const std::string& part) {
    const Strings faults = CronFaults(program);
    ASSERT_EQ(faults.size(), 1u) << program;
    EXPECT_NE(faults[0].find(part), std::string::npos) << faults[0];
}

}  // namespace

TEST(RenderSystemd, SettingsAreQuotedForTheFileAndForTheWordsWithinIt) {
    const RenderedFiles files =
        RenderSystemd(PlanOf("when = \"5:00\"\nname = \"%F {title}\"\nwait = \"5m\"\n"
                             "start = \"it's $5 \\\\ \\\"x\\\".wav\"\n"),
                      {});
    const std::string text = FileOf(files, "machine-1/etc/receiverhost/record/a.conf");
    EXPECT_NE(text.find("\nURL=\"http://radio.example/live?a=1&b=%20\"\n"
                        "OUTPUT=\"/srv/rec/a/%F {title}.flac\"\n"),
              std::string::npos)
        << text;
    // In single quotes with backslashes, and that once more with backslashes.
    EXPECT_NE(
        text.find(R"(OPTIONS="--start '/plans/it\\'s \$5 \\\\ \"x\".wav' --wait 5m --max 1h")"),
        std::string::npos)
        << text;
}

TEST(RenderSystemd, ATimeStaysInItsZone) {
    const std::string text =
        FileOf(RenderSystemd(PlanOf("when = [\"Mon..Fri 18:25\", \"Sat 9:00\"]\n"), {}),
               "machine-1/etc/systemd/system/receiver-record@a.timer.d/plan.conf");
    EXPECT_NE(text.find("[Timer]\nOnCalendar=\nOnCalendar=Mon..Fri 18:25 Europe/Berlin\n"
                        "OnCalendar=Sat 9:00 Europe/Berlin\n"),
              std::string::npos)
        << text;
}

TEST(RenderSystemd, ACommandIsRunWithItsSignsAsTheyAre) {
    const std::string text =
        FileOf(RenderSystemd(PlanOf("when = \"5:00\"\nrun = 'echo \"$RECORDINGS\" 100%'\n"), {}),
               "machine-1/etc/systemd/system/receiver-record@a.service.d/plan.conf");
    EXPECT_NE(
        text.find("ExecStopPost=-/bin/sh -c \"case $$EXIT_STATUS in 0|7) ;; *) exit 0 ;; esac; "
                  "echo \\\"$$RECORDINGS\\\" 100%%\"\n"),
        std::string::npos)
        << text;
}

TEST(RenderSystemd, EachCopyHasAMachineOfItsOwn) {
    const RenderedFiles files =
        RenderSystemd(PlanOf("when = \"5:00\"\ncopies = 2\n",
                             "[programs.b]\nstation = \"one\"\nwhen = \"6:00\"\n"),
                      {});
    const std::string settings = "etc/receiverhost/record/";
    EXPECT_NE(FileOf(files, "machine-2/" + settings + "a.conf").find(".copy2.flac\""),
              std::string::npos);
    EXPECT_TRUE(files.contains("machine-1/" + settings + "b.conf"));
    EXPECT_FALSE(files.contains("machine-2/" + settings + "b.conf"));
    const std::string slice = "etc/systemd/system/receiver-plan.slice";
    EXPECT_NE(FileOf(files, "machine-1/" + slice).find("MemoryMax=1024M\nTasksMax=512\n"),
              std::string::npos);
    EXPECT_NE(FileOf(files, "machine-2/" + slice).find("MemoryMax=512M\nTasksMax=256\n"),
              std::string::npos);
}

TEST(RenderSystemd, FoldersAreMadeAndCleaned) {
    const std::string name = "machine-1/etc/tmpfiles.d/receiver-plan.conf";
    EXPECT_NE(FileOf(RenderSystemd(PlanOf("when = \"5:00\"\nkeep = \"2d\"\n"), {}), name)
                  .find("\nd \"/srv/rec/a\" 0755 receiver-record receiver-record m:172800s\n"),
              std::string::npos);
    EXPECT_NE(FileOf(RenderSystemd(PlanOf("when = \"5:00\"\n"), {}), name)
                  .find("receiver-record receiver-record -\n"),
              std::string::npos);
}

TEST(RenderCron, AnExpressionBecomesFiveFields) {
    const std::pair<const char*, const char*> kFields[] = {
        {"Mon..Fri 18:25", "25 18 * * 1-5 "},
        {"Sun,Sat 9:05", "5 9 * * 0,6 "},
        {"*-1/3-1..7,15 6:0/20", "0,20,40 6 1-7,15 1,4,7,10 * "},
        {"hourly", "0 * * * * "},
        {"8..18/2,19:55", "55 8,10,12,14,16,18,19 * * * "},
        {"*-02-01,02 5:00", "0 5 1,2 2 * "},
    };
    for (const auto& [when, fields] : kFields) {
        const std::string line = CronLine("when = \"" + std::string(when) + "\"\n");
        EXPECT_EQ(line.rfind(fields + std::string("receiver-record mkdir -p /srv/rec/a && "), 0),
                  0u)
            << when << ": " << line;
    }
}

TEST(RenderCron, SignsOfTheShellAndOfCronAreQuoted) {
    EXPECT_EQ(CronLine("when = \"5:00\"\nname = \"it's %F\"\nrun = \"date +%F\"\n"),
              "0 5 * * * receiver-record mkdir -p /srv/rec/a && receiver-record --quiet "
              "'http://radio.example/live?a=1&b=\\%20' --now --max 1h --output "
              "'/srv/rec/a/it'\\''s \\%F.flac'; case $? in 0|7) ;; *) exit ;; esac; export "
              "RECORDINGS=/srv/rec/a; date +\\%F");
}

TEST(RenderCron, WhatCronCannotExpressIsAFault) {
    ExpectCronFault("when = \"5:00:30\"\n", "p:9: programs.a.when: \"5:00:30\": cron begins at");
    ExpectCronFault("when = \"2027-01-01 5:00\"\n", "cron knows no years");
    ExpectCronFault("when = \"Fri *-*-13 5:00\"\n", "each of these days of the week and of the");
    ExpectCronFault("when = \"5:00\"\nname = \"" + std::string(1000, 'n') + "\"\n",
                    "990 characters");
    EXPECT_EQ(CronFaults("when = \"5:00\"\n", "Europe/Paris").size(), 1u);
    EXPECT_THROW(RenderCron(PlanOf("when = \"5:00\"\n"), {}), std::invalid_argument);
}

TEST(RenderKubernetes, ARecordingIsOneCommandOfTheShell) {
    const std::string job = FileOf(
        RenderKubernetes(
            PlanOf("when = \"5:00\"\nname = \"it's %F\"\nkeep = \"2d\"\nrun = 'echo \"ok\"'\n"),
            {}),
        "a-1-1.yaml");
    EXPECT_NE(
        job.find("            - \"mkdir -p /srv/rec/a; receiver-record "
                 "'http://radio.example/live?a=1&b=%20' --now --max 1h --output "
                 "'/srv/rec/a/it'\\\\''s %F.flac'; code=$?; find /srv/rec/a -type f -mmin +2880 "
                 "-delete; case $code in 0|7) ;; *) exit $code ;; esac; export "
                 "RECORDINGS=/srv/rec/a; sh -c 'echo \\\"ok\\\"' || echo 'run has failed' >&2\"\n"),
        std::string::npos)
        << job;
    EXPECT_NE(job.find("activeDeadlineSeconds: 5400\n"), std::string::npos);
    EXPECT_EQ(job.find("references"), job.rfind("references"));  // in the head alone
    EXPECT_EQ(job.find("podAntiAffinity"), std::string::npos);
}

TEST(RenderKubernetes, ScheduleAndZoneAreTheStations) {
    const RenderedFiles files =
        RenderKubernetes(PlanOf("when = [\"Mon..Fri 18:25\", \"Sat 9:00\"]\ncopies = 2\n"
                                "start = \"opening.wav\"\n"),
                         {});
    EXPECT_EQ(files.size(), 6u);
    const std::string healing = FileOf(files, "receiver-plan-heal.yaml");
    EXPECT_NE(healing.find("- \"receiver-plan heal-all /srv/rec\"\n"), std::string::npos)
        << healing;
    EXPECT_EQ(healing.find("- name: references"), std::string::npos) << healing;
    const std::string job = FileOf(files, "a-2-2.yaml");
    EXPECT_NE(job.find("  schedule: \"0 9 * * 6\"\n  timeZone: \"Europe/Berlin\"\n"),
              std::string::npos)
        << job;
    EXPECT_NE(job.find("mountPath: \"/plans\"\n              subPath: \"plans\"\n"
                       "              readOnly: true\n"),
              std::string::npos)
        << job;
    EXPECT_NE(job.find("podAntiAffinity"), std::string::npos);
}

TEST(RenderKubernetes, WhatItsSchedulesCannotExpressIsAFault) {
    for (const char* when : {"5:00:30", "2027-*-* 5:00", "Fri *-*-13 5:00"}) {
        EXPECT_THROW(RenderKubernetes(PlanOf("when = \"" + std::string(when) + "\"\n"), {}),
                     FaultyPlan)
            << when;
    }
}

TEST(FolderDifference, LinesThatStayAreToldFromThoseThatChange) {
    EXPECT_EQ(
        DifferenceLines({{"a", "1\n2\n3\n"}, {"b", "x\n"}, {"d", "same\n"}},
                        {{"a", "1\nnew\n3\n4\n"}, {"c", "y\n"}, {"d", "same\n"}}),
        (Strings{"changed: a", "  1", "- 2", "+ new", "  3", "+ 4", "gone: b", "new: c", "+ y"}));
}

// The day on which clocks are put back in Berlin: 02:30 comes twice there, and in Lisbon at 01:30.
TEST(RenderSlurm, TimesAreThoseOfTheMachinesAndTheSecondOfTwoIsAFault) {
    const RenderOptions berlin{.machineZone = "Europe/Berlin",
                               .day = sys_days(2026y / October / 25)};
    const RenderedFiles files =
        RenderSlurm(PlanOf("when = [\"2:30\", \"23:59:30\"]\ncopies = 2\n"), berlin);
    EXPECT_EQ(files.size(), 8u);  // for each run two copies and their healing
    const std::string run = FileOf(files, "runs/2026-10-25-235930-a-2.sh");
    EXPECT_NE(run.find("#SBATCH --begin=2026-10-25T23:59:30\n#SBATCH --time=90\n"),
              std::string::npos)
        << run;
    EXPECT_NE(run.find("#SBATCH --exclusive\n"), std::string::npos);
    EXPECT_NE(run.find("-ge 1792972770 ]"), std::string::npos) << run;
    EXPECT_NE(FileOf(files, "next-day.sh").find("--begin=2026-10-25T22:00:00\n"),
              std::string::npos);
    EXPECT_EQ(FileOf(files, "runs/2026-10-25-023000-a-1.sh").find("#!/bin/sh\n# Made by "), 0u);
    EXPECT_TRUE(IsRendered(run));
    try {
        RenderSlurm(ParsePlan("[stations.one]\nurl = \"http://r/\"\nzone = \"UTC\"\n"
                              "[programs.a]\nstation = \"one\"\nwhen = \"1:30\"\nmax = \"1h\"\n"
                              "folder = \"/f\"\n",
                              "p", "/"),
                    berlin);
        FAIL();
    } catch (const FaultyPlan& faulty) {
        ASSERT_EQ(faulty.All().size(), 1u);
        EXPECT_NE(faulty.All()[0].text.find("show 2026-10-25T02:30:00 twice"), std::string::npos)
            << faulty.All()[0].text;
    }
}

TEST(RenderSlurm, TheMachinesZoneAndTheDayHaveToBeSaid) {
    const Plan plan = PlanOf("when = \"5:00\"\n");
    const sys_days day(2026y / October / 25);
    EXPECT_THROW(RenderSlurm(plan, {.machineZone = "", .day = day}), std::invalid_argument);
    EXPECT_THROW(RenderSlurm(plan, {.machineZone = "UTC", .day = {}}), std::invalid_argument);
    EXPECT_THROW(RenderSlurm(plan, {.machineZone = "Mars", .day = day}), std::invalid_argument);
}

}  // namespace receiver
