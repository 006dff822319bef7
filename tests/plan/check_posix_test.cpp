// "receiver-plan check" as people run it.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "plan/plan_run.h"
#include "testing/audio_encoder.h"
#include "testing/audio_generator.h"
#include "testing/http_station.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

constexpr const char* kPlanText = R"([stations.one]
url = "http://radio.example/live"
zone = "Europe/Berlin"

[programs.evening]
station = "one"
when = "Mon..Fri 18:25"
max = "1h"
folder = "recordings"
)";

class PlanCheckRunTest : public testing::Test {
protected:
    std::string Plan(const std::string& more = "") const {
        std::ofstream(folder_.File("plan.toml")) << kPlanText << more;
        return folder_.File("plan.toml");
    }

    const TempFolder folder_;
};

}  // namespace

TEST_F(PlanCheckRunTest, APlanWithoutFaultsShowsItsRuns) {
    const PlanRun run = RunPlan({"check", Plan(), "--from", "2026-03-27", "--days", "4"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.output.substr(0, run.output.find("At most")),
              "Runs of the next 4 days, as the station's clocks show it:\n"
              "  Fri 2026-03-27 18:25:00 +01:00  evening  one  until 19:25:00 at the latest\n"
              "  Mon 2026-03-30 18:25:00 +02:00  evening  one  until 19:25:00 at the latest\n");
}

TEST_F(PlanCheckRunTest, AFaultyPlanTellsEachFaultAndNothingElse) {
    const std::string plan = Plan("mni = 1\nkeep = 30\n");
    const PlanRun run = RunPlan({"check", plan});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, plan +
                              ":10: programs.evening.mni: not a key of a plan; did you mean "
                              "\"min\"?\n" +
                              plan +
                              ":11: programs.evening.keep: not a text; put it between quotation "
                              "marks\n");
}

TEST_F(PlanCheckRunTest, AMissingRecordingIsToldBesideTheRuns) {
    const PlanRun run = RunPlan({"check", Plan("start = \"opening.wav\"\n")});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_NE(run.errors.find(":10: programs.evening.start: " + folder_.File("opening.wav")),
              std::string::npos)
        << run.errors;
    EXPECT_NE(run.output.find("evening"), std::string::npos);
}

TEST_F(PlanCheckRunTest, TheCalendarIsWrittenAndNotReplacedUnasked) {
    const std::string calendar = folder_.File("plan.ics");
    const std::string plan = Plan();
    const auto write = [&](std::vector<std::string> more) {
        std::vector<std::string> arguments = {"check",      plan,     "--from",
                                              "2026-03-27", "--ical", calendar};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunPlan(arguments).exitCode;
    };
    EXPECT_EQ(write({}), 0);
    const std::string written = BytesOfFile(calendar);
    EXPECT_NE(written.find("DTSTART:20260330T162500Z\r\n"), std::string::npos) << written;
    EXPECT_EQ(write({"--days", "1"}), 6);
    EXPECT_EQ(BytesOfFile(calendar), written);
    EXPECT_EQ(write({"--days", "1", "--force"}), 0);
    EXPECT_LT(BytesOfFile(calendar).size(), written.size());
}

TEST_F(PlanCheckRunTest, OnlineTheStationsAreAskedAndTheSilentOneIsTold) {
    HttpStation station;
    StationRoute live;
    live.contentType = MimeTypeOf(AudioCoding::kMp3);
    live.body = EncodeAudio(MakeMusic(1, 44100, 2, size_t{5} * 44100), AudioCoding::kMp3);
    station.Serve("/live", live);
    const auto check = [&](const std::string& path, bool online, const char* when = "18:25") {
        std::ofstream(folder_.File("plan.toml"))
            << "[stations.one]\nurl = \"" << station.Url(path) << "\"\nzone = \"UTC\"\n"
            << "[programs.a]\nstation = \"one\"\nwhen = \"" << when
            << "\"\nmax = \"1h\"\nfolder = \"f\"\n";
        std::vector<std::string> arguments = {"check", folder_.File("plan.toml")};
        if (online) arguments.emplace_back("--online");
        return RunPlan(arguments);
    };
    EXPECT_EQ(check("/gone", false).exitCode, 0);
    EXPECT_EQ(station.RequestCount(), 0u);

    const PlanRun there = check("/live", true);
    EXPECT_EQ(there.exitCode, 0) << there.errors;
    EXPECT_NE(there.output.find("Stations that answer:\n  one  " + station.Url("/live") + "\n"),
              std::string::npos)
        << there.output;

    const PlanRun gone = check("/gone", true);
    EXPECT_EQ(gone.exitCode, 7);
    EXPECT_EQ(gone.errors,
              folder_.File("plan.toml") + ":2: stations.one.url: " + station.Url("/gone") +
                  " does not answer with audio: There is nothing at this address (the server "
                  "answers 404 Not Found); mend the address, or ask the station for another one\n");
    EXPECT_EQ(check("/gone", true, "2020-01-01 5:00").exitCode, 3);
}

TEST_F(PlanCheckRunTest, WrongCommandLinesAreToldApartFromWrongPlans) {
    EXPECT_EQ(RunPlan({}).exitCode, 2);
    EXPECT_EQ(RunPlan({"check"}).exitCode, 2);
    EXPECT_EQ(RunPlan({"check", Plan(), "--days", "0"}).exitCode, 2);
    EXPECT_EQ(RunPlan({"check", Plan(), "--days", "367"}).exitCode, 2);
    const PlanRun date = RunPlan({"check", Plan(), "--from", "2026-02-30"});
    EXPECT_EQ(date.exitCode, 2);
    EXPECT_NE(date.errors.find("--from: \"2026-02-30\" is not a day"), std::string::npos);
    EXPECT_EQ(RunPlan({"check", folder_.File("none.toml")}).exitCode, 4);
}

TEST_F(PlanCheckRunTest, TheSchemaIsThatOfTheDocuments) {
    EXPECT_EQ(RunPlan({"schema"}).output,
              BytesOfFile(PLAN_TESTS_PATH "/../../docs/plan.schema.json"));
}

}  // namespace receiver
