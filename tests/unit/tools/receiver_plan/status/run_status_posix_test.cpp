#include "receiver_plan/status/run_status.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "receiver_plan/plan/plan_reader.h"
#include "receiver_plan/status/status_texts.h"

namespace receiver {
namespace {

using namespace std::chrono;

constexpr sys_days kMonday = 2026y / March / 30;
constexpr sys_seconds kEvening = kMonday + hours(18);

Plan PlanOf(const std::string& more) {
    return ParsePlan(
        "[stations.one]\nurl = \"http://radio.example/\"\nzone = \"UTC\"\n"
        "[programs.news]\nstation = \"one\"\nwhen = \"Mon 18:00\"\nmax = \"1h\"\n"
        "folder = \"/srv\"\n" +
            more,
        "plan.toml", "/");
}

FoundRecording Unread(const std::string& file, RecordingState state, sys_seconds changed) {
    FoundRecording recording;
    recording.file = file;
    const size_t slash = file.rfind('/');
    recording.folder = file.substr(1, slash - 1);
    const CopyName name = ReadCopyName(file.substr(slash + 1));
    recording.name = name.name;
    recording.copy = name.copy;
    recording.state = state;
    recording.changed = changed;
    if (state != RecordingState::kWhole) recording.why = "why";
    return recording;
}

// Begun and over so many minutes after the run's beginning.
FoundRecording Recorded(const std::string& file, int from = 0, int until = 60,
                        RecordingState state = RecordingState::kWhole) {
    FoundRecording recording = Unread(file, state, kEvening + minutes(until));
    recording.record.isComplete = state == RecordingState::kWhole;
    recording.record.startedAt = kEvening + minutes(from);
    recording.record.finishedAt = kEvening + minutes(until);
    return recording;
}

FoundRecording Healed(const std::string& file, bool isComplete, std::vector<std::string> copies) {
    FoundRecording recording = Unread(
        file, isComplete ? RecordingState::kWhole : RecordingState::kDamaged, kEvening + hours(30));
    recording.record.isHealed = true;
    recording.record.isComplete = isComplete;
    recording.record.copies = std::move(copies);
    return recording;
}

StatusStretch StretchUntil(sys_seconds now) {
    return {kMonday, kMonday + days(7), now};
}

std::vector<RunStatus> Planned(const Plan& plan, std::vector<FoundRecording> recordings,
                               sys_seconds now = kMonday + days(2)) {
    return RunsOfPlan(plan, std::move(recordings), StretchUntil(now));
}

// Of one run that there has to be.
RunState StateOf(const std::vector<RunStatus>& runs) {
    EXPECT_EQ(runs.size(), 1u);
    return runs.empty() ? RunState::kMissed : runs[0].state;
}

std::vector<RunStatus> Unplanned(std::vector<FoundRecording> recordings) {
    return RunsOfRecordings(std::move(recordings), StretchUntil(kMonday + days(2)));
}

constexpr RecordingState kDamagedFile = RecordingState::kDamaged;

}  // namespace

TEST(RunStatus, ARunWithoutAFileIsWaitedForWhileItMayLastAndMissedAfterwards) {
    const Plan plan = PlanOf("");
    EXPECT_TRUE(Planned(plan, {}, kEvening - seconds(1)).empty());
    EXPECT_EQ(StateOf(Planned(plan, {}, kEvening + minutes(59))), RunState::kWaiting);
    EXPECT_EQ(StateOf(Planned(plan, {}, kEvening + minutes(60))), RunState::kMissed);
    EXPECT_EQ(StateOf(Planned(plan, {Recorded("/news/a.flac")})), RunState::kComplete);
}

TEST(RunStatus, AMissedRunIsNotLookedForLongerThanItWouldHaveBeenKept) {
    const Plan plan = PlanOf("keep = \"24h\"\n");
    EXPECT_EQ(Planned(plan, {}, kEvening + hours(23)).size(), 1u);
    EXPECT_TRUE(Planned(plan, {}, kEvening + hours(24)).empty());
    EXPECT_EQ(Planned(plan, {Recorded("/news/a.flac")}, kEvening + hours(24)).size(), 1u);
}

TEST(RunStatus, ARecordingBelongsToTheRunInWhoseTimeItWasBegun) {
    const Plan plan = PlanOf("start = \"/a.wav\"\nwait = \"30m\"\n");
    const auto isOfRun = [&](int from) {
        return Planned(plan, {Recorded("/news/a.flac", from, 200)}).size() == 1;
    };
    EXPECT_FALSE(isOfRun(-2));
    EXPECT_TRUE(isOfRun(-1));
    EXPECT_TRUE(isOfRun(89));
    EXPECT_FALSE(isOfRun(90));
    const auto runs = Planned(plan, {Recorded("/talk/a.flac")});
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[0].state, RunState::kMissed);
    EXPECT_EQ(runs[1].program, "talk");
    EXPECT_FALSE(runs[1].planned);
}

TEST(RunStatus, OfTwoRunsOfADayEachHasItsOwnRecording) {
    const Plan plan = PlanOf(
        "[programs.talk]\nstation = \"one\"\nwhen = [\"Mon 18:00\", \"Mon 20:00\"]\n"
        "max = \"1h\"\nfolder = \"/srv\"\n");
    const auto runs = Planned(plan, {Recorded("/news/a.flac"), Recorded("/talk/b.flac", 120, 180)});
    ASSERT_EQ(runs.size(), 3u);
    EXPECT_EQ(runs[0].state, RunState::kComplete);
    EXPECT_EQ(runs[1].program, "talk");
    EXPECT_EQ(runs[1].state, RunState::kMissed);
    EXPECT_EQ(runs[2].state, RunState::kComplete);
}

TEST(RunStatus, ACopyThatIsNotThereIsToldThoughTheProgrammeIsWhole) {
    const Plan plan = PlanOf("copies = 3\n");
    const auto runs =
        Planned(plan, {Recorded("/news/a.copy1.flac"), Recorded("/news/a.copy3.flac")});
    EXPECT_EQ(StateOf(runs), RunState::kCopyMissed);
    EXPECT_EQ(runs.at(0).missedCopies, std::vector<unsigned>{2});
    EXPECT_EQ(
        StateOf(Planned(plan, {Recorded("/news/a.copy1.flac", 0, 10)}, kEvening + minutes(20))),
        RunState::kComplete);  // the others may be at it
}

TEST(RunStatus, OneWholeCopyIsEnoughAndSoIsAWholeHealedFile) {
    const Plan plan = PlanOf("copies = 2\n");
    const FoundRecording one = Recorded("/news/a.copy1.flac", 0, 60, kDamagedFile);
    const FoundRecording two = Recorded("/news/a.copy2.flac", 0, 60, kDamagedFile);
    EXPECT_EQ(StateOf(Planned(plan, {one, Recorded("/news/a.copy2.flac")})), RunState::kComplete);
    EXPECT_EQ(StateOf(Planned(plan, {one, two})), RunState::kDamaged);
    const std::vector<std::string> copies = {"/mnt/x/a.copy1.flac", "C:\\y\\a.copy2.flac"};
    EXPECT_EQ(StateOf(Planned(plan, {one, two, Healed("/news/a.flac", true, copies)})),
              RunState::kComplete);
    EXPECT_EQ(StateOf(Planned(plan, {one, two, Healed("/news/a.flac", false, copies)})),
              RunState::kDamaged);
    const auto apart = Planned(plan, {one, two, Healed("/news/b.flac", true, {"b.copy1.flac"})});
    ASSERT_EQ(apart.size(), 2u);
    EXPECT_EQ(apart[0].state, RunState::kDamaged);
    EXPECT_EQ(apart[1].state, RunState::kComplete);
}

TEST(RunStatus, WhatALaterAttemptLacksTheEarlierOneHadBegun) {
    const Plan plan = PlanOf("");
    const FoundRecording first = Recorded("/news/a.flac", 0, 20, kDamagedFile);
    EXPECT_EQ(StateOf(Planned(plan, {Recorded("/news/a-2.flac", 21, 60), first})),
              RunState::kDamaged);
}

TEST(RunStatus, WhatBeginsByTheClockIsNotWholeWhenItBeganLate) {
    const auto late = Planned(PlanOf(""), {Recorded("/news/a.flac", 2, 62)});
    EXPECT_EQ(StateOf(late), RunState::kDamaged);
    EXPECT_EQ(late.at(0).recordings.at(0).why, "Its recorder was begun 2m late");
    EXPECT_EQ(StateOf(Planned(PlanOf(""), {Recorded("/news/a.flac", 1, 61)})), RunState::kComplete);
    EXPECT_EQ(StateOf(Planned(PlanOf("start = \"/a.wav\"\n"), {Recorded("/news/a.flac", 9, 69)})),
              RunState::kComplete);
}

TEST(RunStatus, APartIsOfTheRunInWhoseTimeItHasChanged) {
    const Plan plan = PlanOf("");
    const auto with = [&](RecordingState state, sys_seconds changed) {
        return Planned(plan, {Unread("/news/a.flac.part", state, changed)}, changed);
    };
    EXPECT_EQ(StateOf(with(RecordingState::kRecording, kEvening + minutes(40))),
              RunState::kRecording);
    EXPECT_EQ(StateOf(with(RecordingState::kLeft, kEvening + minutes(61))), RunState::kDamaged);
    EXPECT_EQ(StateOf(with(RecordingState::kUnclear, kEvening + minutes(89))), RunState::kDamaged);
    EXPECT_EQ(with(RecordingState::kLeft, kEvening + minutes(90)).size(), 2u);
}

TEST(RunStatus, ARunOfTheDayBeforeTheStretchKeepsItsRecordings) {
    const Plan plan = PlanOf("");
    const StatusStretch tuesday = {kMonday + days(1), kMonday + days(8), kMonday + days(2)};
    EXPECT_TRUE(RunsOfPlan(plan, {Recorded("/news/a.flac")}, tuesday).empty());
}

TEST(RunStatus, WithoutAPlanCopiesBelongTogetherByNameFolderAndTime) {
    const FoundRecording one = Recorded("/news/a.copy1.flac", 0, 60, kDamagedFile);
    EXPECT_EQ(StateOf(Unplanned({one, Recorded("/news/a.copy2.flac", 1, 61)})),
              RunState::kComplete);
    EXPECT_EQ(Unplanned({one, Recorded("/talk/a.copy2.flac")}).size(), 2u);
    EXPECT_EQ(Unplanned({one, Recorded("/news/b.copy2.flac")}).size(), 2u);
    EXPECT_EQ(Unplanned({one, Recorded("/news/a.copy2.flac", 61, 90)}).size(), 2u);
    // The same name on two machines, recorded side by side.
    EXPECT_EQ(StateOf(Unplanned({Recorded("/news/a.flac", 0, 60, kDamagedFile),
                                 Recorded("/news/a.flac", 1, 61)})),
              RunState::kComplete);
    EXPECT_EQ(StateOf(Unplanned({one, Healed("/news/a.flac", true, {"a.copy1.flac"})})),
              RunState::kComplete);
}

TEST(RunStatus, OnlyWhatBeganWithinTheDaysIsTold) {
    EXPECT_EQ(Unplanned({Recorded("/news/a.flac")}).size(), 1u);
    EXPECT_TRUE(Unplanned({Recorded("/news/a.flac", -19 * 60, 0)}).empty());
    EXPECT_TRUE(Unplanned({Recorded("/news/a.flac", 7 * 24 * 60, 8 * 24 * 60)}).empty());
}

TEST(StatusTexts, TheTableHasALineForEachRunAndOneForWhatIsWrong) {
    const Plan plan = PlanOf("copies = 2\n");
    FoundRecording one = Recorded("/news/a.copy1.flac", 0, 60, kDamagedFile);
    one.why = "1.5 s are missing\x1b[2J";
    one.record.outcome = "complete-with-gaps";
    one.record.missingSeconds = 1.5;
    one.record.kinds = {"undecodable"};
    const auto runs = Planned(plan, {one});
    EXPECT_EQ(StatusLines(&plan, runs, 7),
              (std::vector<std::string>{
                  "Runs of 7 days, as the station's clocks show it:",
                  "  Mon 2026-03-30 18:00:00 +00:00  news  damaged", "      copy 2 is missing",
                  "      /news/a.copy1.flac: 1.5 s are missing?[2J (undecodable)"}));
    EXPECT_EQ(SummaryLine(runs), "1 run: 1 damaged.");
    EXPECT_EQ(SummaryLine({}), "No run.");
}

TEST(StatusTexts, ALongReasonIsCutOffAndIllFormedTextIsMended) {
    FoundRecording one = Recorded("/news/a.flac", 0, 60, kDamagedFile);
    one.why = std::string(100000, 'x');
    const auto longReason = Unplanned({one});
    EXPECT_EQ(RunFindings(longReason.at(0)).at(0).size(),
              std::string("/news/a.flac: ...").size() + 300);
    one.why = "\xFF";
    const std::string json = StatusJson(Unplanned({one}).at(0));
    EXPECT_NE(json.find("\"message\":\"\xEF\xBF\xBD\""), std::string::npos) << json;
    EXPECT_EQ(json.find('\n'), std::string::npos);
}

TEST(StatusTexts, AJsonLineTellsTheRunAndItsRecordings) {
    FoundRecording one = Recorded("/news/a.flac", 0, 60, kDamagedFile);
    one.record.outcome = "source-error";
    one.record.gaps = 2;
    one.record.damage = 1;
    one.record.missingSeconds = 2.5;
    EXPECT_EQ(StatusJson(Planned(PlanOf("copies = 2\n"), {one}).at(0)),
              R"({"begins":"2026-03-30T18:00:00.000Z","missedCopies":[2],"planned":true,)"
              R"("program":"news","recordings":[{"changedAt":"2026-03-30T19:00:00.000Z",)"
              R"("copy":1,"damage":1,"file":"/news/a.flac",)"
              R"("finishedAt":"2026-03-30T19:00:00.000Z","gaps":2,"message":"why",)"
              R"("missingSeconds":2.5,"outcome":"source-error",)"
              R"("startedAt":"2026-03-30T18:00:00.000Z","state":"damaged"}],)"
              R"("state":"damaged","type":"RUN"})");
}

}  // namespace receiver
