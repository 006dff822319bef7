#include "receiver_plan/heal/runs_to_heal.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

FoundRecording Found(const std::string& file, unsigned copy,
                     RecordingState state = RecordingState::kWhole) {
    FoundRecording recording;
    recording.file = file;
    recording.name = "news.flac";
    recording.copy = copy;
    recording.state = state;
    return recording;
}

RunStatus RunOf(std::vector<FoundRecording> recordings, RunState state = RunState::kDamaged) {
    RunStatus run;
    run.state = state;
    run.recordings = std::move(recordings);
    return run;
}

using Names = std::vector<std::string>;

}  // namespace

TEST(RunsToHeal, TheCopiesThatAreEndedAndWhatKilledRecordersHaveLeft) {
    const auto runs =
        RunsToHeal({RunOf({Found("/one/news.copy1.flac.part", 1, RecordingState::kLeft),
                           Found("/two/news.copy2.flac", 2), Found("/two/news.copy2-2.flac", 2),
                           Found("/three/news.copy3.flac", 3, RecordingState::kDamaged)})});
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].whole,
              (Names{"/two/news.copy2.flac", "/two/news.copy2-2.flac", "/three/news.copy3.flac"}));
    EXPECT_EQ(runs[0].left, (Names{"/one/news.copy1.flac.part"}));
    EXPECT_EQ(runs[0].output, "/two/news.flac");
}

TEST(RunsToHeal, OnlyThoseThatAreOver) {
    const std::vector<FoundRecording> copies = {Found("/news.copy1.flac", 1),
                                                Found("/news.copy2.flac", 2)};
    for (const RunState state : {RunState::kRecording, RunState::kWaiting}) {
        EXPECT_TRUE(RunsToHeal({RunOf(copies, state)}).empty());
    }
    for (const RunState state : {RunState::kComplete, RunState::kCopyMissed, RunState::kDamaged}) {
        EXPECT_EQ(RunsToHeal({RunOf(copies, state)}).size(), 1U);
    }
}

TEST(RunsToHeal, OnlyOnce) {
    FoundRecording healed = Found("/news.flac", 1);
    healed.record.isHealed = true;
    EXPECT_TRUE(
        RunsToHeal({RunOf({Found("/news.copy1.flac", 1), Found("/news.copy2.flac", 2), healed})})
            .empty());
}

TEST(RunsToHeal, NotWhereOneCopyIsAllThatCanBeRead) {
    FoundRecording gone = Found("/news.copy2.flac", 2, RecordingState::kDamaged);
    gone.isThere = false;
    EXPECT_TRUE(RunsToHeal({RunOf({Found("/news.copy1.flac", 1), gone})}).empty());
    EXPECT_TRUE(RunsToHeal({RunOf({Found("/news.copy1.flac", 1), Found("/news.copy1-2.flac", 1)})})
                    .empty());
    EXPECT_TRUE(RunsToHeal({RunOf({Found("/news.copy1.flac", 1),
                                   Found("/news.copy2.flac", 2, RecordingState::kUnclear)})})
                    .empty());
}

TEST(RunsToHeal, NotWhatIsCodedWithLoss) {
    FoundRecording one = Found("/news.copy1.opus", 1), two = Found("/news.copy2.opus", 2);
    one.name = two.name = "news.opus";
    EXPECT_TRUE(RunsToHeal({RunOf({one, two})}).empty());
}

}  // namespace receiver
