#include "receiver_record/output/recording_tags.h"

#include <gtest/gtest.h>

#include <map>

#include "unit/tools/receiver_record/complete_report.h"

namespace receiver {
namespace {

std::map<std::string, std::string> Tags(const RecordReport& report) {
    const RecordingTags tags = MakeTags(report);
    return {tags.begin(), tags.end()};
}

RecordReport Complete() {
    RecordReport report = CompleteReport();
    report.matches.push_back({"bye", Role::kEnd, 99, 100, 0});
    report.startedAt = "2026-01-02T03:04:05.006Z";
    report.finishedAt = "2026-01-02T04:04:05.006Z";
    return report;
}

}  // namespace

TEST(RecordingTags, AFinishedRecordingTellsAll) {
    std::map<std::string, std::string> tags = Tags(Complete());
    EXPECT_EQ(tags["source"], "http://radio/");
    EXPECT_EQ(tags["start_sample"], "44100");
    EXPECT_EQ(tags["end_sample"], "132300");
    EXPECT_EQ(tags["reason"], "outro");
    EXPECT_EQ(tags["started_at"], "2026-01-02T03:04:05.006Z");
    EXPECT_EQ(tags["finished_at"], "2026-01-02T04:04:05.006Z");
    EXPECT_EQ(tags["matches"],
              "start jingle at sample 44100 (bit error rate 0.0123), end bye at sample 99 (bit "
              "error rate 0.0000)");
}

TEST(RecordingTags, TheCommentHasAllOfItInOne) {
    EXPECT_EQ(Tags(Complete())["comment"],
              "Recorded from http://radio/, from sample 44100 to 132300, ended by outro, "
              "2026-01-02T03:04:05.006Z to 2026-01-02T04:04:05.006Z; heard start jingle at sample "
              "44100 (bit error rate 0.0123), end bye at sample 99 (bit error rate 0.0000)");
}

TEST(RecordingTags, AnIncompleteRecordingDoesNotClaimThePlannedEnd) {
    RecordReport report = Complete();
    report.exitCode = ExitCode::kInterrupted;
    report.frames = 100;
    EXPECT_EQ(Tags(report)["reason"], "interrupted");
    EXPECT_EQ(Tags(report)["end_sample"], "44200");
}

TEST(RecordingTags, ARecordingThatGoesOnTellsOnlyItsBeginning) {
    RecordReport report = Complete();
    report.finishedAt.clear();
    std::map<std::string, std::string> tags = Tags(report);
    EXPECT_EQ(tags["start_sample"], "44100");
    EXPECT_EQ(tags.count("end_sample") + tags.count("reason") + tags.count("finished_at"), 0u);
}

TEST(RecordingTags, TheStationIsThePublisher) {
    RecordReport report = Complete();
    EXPECT_EQ(Tags(report).count("publisher"), 0u);
    report.notes.Add(StationEvent{0, "Radio"});
    EXPECT_EQ(Tags(report)["publisher"], "Radio");
}

TEST(RecordingTags, OfVeryManyMatchesTheRestIsCounted) {
    RecordReport report = Complete();
    report.matches.resize(500, report.matches[0]);
    const std::string matches = Tags(report)["matches"];
    EXPECT_LT(matches.size(), 2000u);
    EXPECT_NE(matches.find("and 480 more"), std::string::npos);
}

}  // namespace receiver
