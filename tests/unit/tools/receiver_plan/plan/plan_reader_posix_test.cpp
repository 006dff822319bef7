#include "receiver_plan/plan/plan_reader.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "receiver_plan/plan/recorder_arguments.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

constexpr const char* kPlan = R"([defaults]
folder = "/srv/recordings"
max = "1h"

[stations.one]
url = " HTTP://radio.example/live "
zone = "Europe/Berlin"

[programs.evening]
station = "one"
when = ["Mon..Fri 18:25", "Sat 12:00"]
start = "opening.wav"
end = ["outro=jingles/closing.wav", "/other/end.wav"]
min = "20m"
)";

std::vector<std::string> FaultsOf(const std::string& text) {
    std::vector<std::string> lines;
    try {
        ParsePlan(text, "p", "/plans");
    } catch (const FaultyPlan& faulty) {
        for (const PlanFault& fault : faulty.All()) lines.push_back(FaultLine("p", fault));
    }
    return lines;
}

// The plan with this line in the place of another one.
std::string With(const std::string& line, const std::string& instead) {
    std::string text = kPlan;
    const size_t at = text.find(line);
    EXPECT_NE(at, std::string::npos) << line;
    return text.replace(at, line.size(), instead);
}

void ExpectFault(const std::string& text, const std::string& begin, const std::string& part) {
    const std::vector<std::string> faults = FaultsOf(text);
    ASSERT_EQ(faults.size(), 1u) << begin << (faults.empty() ? "" : " " + faults.back());
    EXPECT_EQ(faults[0].substr(0, begin.size()), begin);
    EXPECT_NE(faults[0].find(part), std::string::npos) << faults[0];
}

}  // namespace

TEST(PlanReader, ReadsStationsAndProgrammesWithTheirDefaults) {
    const Plan plan = ParsePlan(kPlan, "p", "/plans");
    ASSERT_EQ(plan.stations.size(), 1u);
    EXPECT_EQ(plan.stations[0].url, "http://radio.example/live");
    EXPECT_EQ(plan.stations[0].zone.Name(), "Europe/Berlin");
    ASSERT_EQ(plan.programs.size(), 1u);
    const PlannedProgram& program = plan.programs[0];
    EXPECT_EQ(program.name, "evening");
    EXPECT_EQ(program.when.size(), 2u);
    EXPECT_EQ(program.starts, std::vector<std::string>{"/plans/opening.wav"});
    EXPECT_EQ(program.ends,
              (std::vector<std::string>{"outro=/plans/jingles/closing.wav", "/other/end.wav"}));
    EXPECT_EQ(program.LongestMs(), 75u * 60 * 1000);  // 15 minutes of waiting, too
    EXPECT_EQ(program.copies, 1u);
    EXPECT_FALSE(program.keepMs);
    EXPECT_EQ(program.LineOf("when"), 11u);
    EXPECT_EQ(program.LineOf("max"), 3u);
}

TEST(PlanReader, TheRecorderIsToldAllOfAProgramme) {
    const Plan plan = ParsePlan(kPlan + std::string("trim = \"both\"\nfade = \"2s\"\ncopies = 2\n"
                                                    "other = \"news.wav\"\nwait = \"5m\"\n"
                                                    "name = \"%F {title}\"\nformat = \"wav\"\n"),
                                "p", "/plans");
    EXPECT_EQ(RecorderArguments(plan, plan.programs[0], 2),
              (std::vector<std::string>{"http://radio.example/live",
                                        "--start",
                                        "/plans/opening.wav",
                                        "--end",
                                        "outro=/plans/jingles/closing.wav",
                                        "--end",
                                        "/other/end.wav",
                                        "--other",
                                        "/plans/news.wav",
                                        "--wait",
                                        "5m",
                                        "--max",
                                        "1h",
                                        "--min",
                                        "20m",
                                        "--trim",
                                        "both",
                                        "--fade",
                                        "2s",
                                        "--output",
                                        "/srv/recordings/evening/%F {title}.copy2.wav"}));
}

TEST(PlanReader, WithoutAStartRecordingItBeginsAtOnce) {
    const Plan plan = ParsePlan(With("start = \"opening.wav\"\n", "copies = 1\n"), "p", "/plans");
    const auto arguments = RecorderArguments(plan, plan.programs[0], 1);
    EXPECT_EQ(arguments[5], "--now");
    EXPECT_EQ(arguments.back(), "/srv/recordings/evening/%F %H%M.flac");
    EXPECT_EQ(plan.programs[0].LongestMs(), 60u * 60 * 1000);
}

TEST(PlanReader, AnUnknownKeyIsAFaultWithTheNearestKnownOne) {
    ExpectFault(With("min = ", "mni = "), "p:14: programs.evening.mni: not a key", "\"min\"?");
    ExpectFault(With("url = ", "zzzzzzzz = 1\nurl = "), "p:6: stations.one.zzzzzzzz: not a key",
                "there are url, zone");
    ExpectFault(With("[defaults]", "[defaults]\nwhen = \"5:00\""), "p:2: defaults.when: not a key",
                "");
    ExpectFault(kPlan + std::string("[program.x]\n"), "p:15: program: not a key", "\"programs\"?");
}

TEST(PlanReader, AMissingKeyIsAFaultOfItsSection) {
    ExpectFault(With("max = \"1h\"\n", ""), "p:8: programs.evening: \"max\" is missing", "1h30m");
    ExpectFault(With("folder = \"/srv/recordings\"\n", ""), "p:8: programs.evening: \"folder\"",
                "where recordings go");
    ExpectFault(With("station = \"one\"\n", ""), "p:9: programs.evening: \"station\"",
                "[stations]");
    ExpectFault(With("when = [\"Mon..Fri 18:25\", \"Sat 12:00\"]\n", ""),
                "p:9: programs.evening: \"when\"", "Mon..Fri 18:25");
    ExpectFault(With("zone = \"Europe/Berlin\"\n", "").substr(0), "p:5: stations.one: \"zone\"",
                "Europe/Berlin");
    EXPECT_EQ(FaultsOf("").size(), 2u);
}

TEST(PlanReader, AFaultyValueNamesLineKeyAndRemedy) {
    ExpectFault(With("\"one\"", "\"oen\""), "p:10: programs.evening.station: there is no station",
                "did you mean \"one\"?");
    ExpectFault(With("Sat 12:00", "Sat 25:00"), "p:11: programs.evening.when: \"Sat 25:00\"",
                "between 0 and 23");
    ExpectFault(With("Europe/Berlin", "Berlin"), "p:7: stations.one.zone: \"Berlin\"",
                "timedatectl");
    ExpectFault(With(" HTTP:", "ftp:"), "p:6: stations.one.url: ", "http:// or https://");
    ExpectFault(With("\"1h\"", "\"25h\""), "p:3: defaults.max: \"25h\" is not a duration",
                "from 1s to 24h");
    ExpectFault(With("\"1h\"", "60"), "p:3: defaults.max: not a text", "quotation marks");
    const std::string whole = kPlan;
    ExpectFault(whole + "copies = 10\n", "p:15: programs.evening.copies: ", "from 1 to 9");
    ExpectFault(whole + "keep = \"30x\"\n", "p:15: programs.evening.keep: ", "30d or 4w");
    ExpectFault(whole + "trim = \"all\"\n", "p:15: programs.evening.trim: ", "start, end or both");
    ExpectFault(whole + "format = \"doc\"\n", "p:15: programs.evening.format: ", ".flac");
    ExpectFault(whole + "name = \"../%F\"\n", "p:15: programs.evening.name: ", "\"folder\"");
    ExpectFault(whole + "other = []\n", "p:15: programs.evening.other: an empty list", "");
    ExpectFault(whole + "other = [1]\n", "p:15: programs.evening.other: ", "quotation marks");
    ExpectFault(whole + "run = \"\"\n", "p:15: programs.evening.run: empty", "leave the key out");
    ExpectFault(whole + "run = \"\"\"a\nb\"\"\"\n", "p:15: programs.evening.run: ", "one line");
}

TEST(PlanReader, ANameThatNoEngineCouldUseIsAFault) {
    ExpectFault(With("programs.evening", "programs.Evening"), "p:9: programs.Evening: not a name",
                "small letters");
    ExpectFault(With("programs.evening", "programs.\"a b\""), "p:9: programs.a b: not a name", "");
}

TEST(PlanReader, WhatTheRecorderRefusesIsAFault) {
    const std::string refuses = "p:9: programs.evening: receiver-record refuses it; ";
    ExpectFault(With("min = \"20m\"", "min = \"2h\""), refuses, "--min: 2h is not less than --max");
    ExpectFault(With("\"/other/end.wav\"", "\"outro=/other/end.wav\""), refuses,
                "the name \"outro\" is given twice");
}

TEST(PlanReader, ATextThatIsNotTomlIsAFaultWhereItCeasesToBe) {
    ExpectFault(With("zone = ", "zone "), "p:7: ", "not TOML");
}

TEST(PlanReader, AgesAreKeptInDaysAndWeeksToo) {
    const std::pair<const char*, uint64_t> kAges[] = {{"30d", 720}, {"2w", 336}, {"36h", 36}};
    for (const auto& [text, hours] : kAges) {
        const Plan plan =
            ParsePlan(kPlan + std::string("keep = \"") + text + "\"\n", "p", "/plans");
        EXPECT_EQ(plan.programs[0].keepMs, hours * 3600 * 1000) << text;
    }
}

TEST(PlanReader, PathsCountFromThePlansOwnFolder) {
    const TempFolder folder;
    const std::string path = folder.File("plan.toml");
    std::ofstream(path) << kPlan;
    EXPECT_EQ(ReadPlan(path).programs[0].starts[0], folder.File("opening.wav"));
    EXPECT_THROW(ReadPlan(folder.File("none.toml")), std::runtime_error);
}

}  // namespace receiver
