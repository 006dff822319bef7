#include "receiver_record/display/record_texts.h"

#include <gtest/gtest.h>

#include <map>

#include "unit/tools/receiver_record/complete_report.h"
#include "wire/messages.h"

namespace receiver {

TEST(RecordTexts, TheSummaryTellsWhatWhereWhyAndHowSure) {
    EXPECT_EQ(SummaryLines(CompleteReport()),
              (std::vector<std::string>{
                  "Recorded 00:00:02.000 to a.wav, samples 44100 to 132300 (00:00:01.000 to "
                  "00:00:03.000)",
                  "The start was jingle, with a bit error rate of 0.0123 (a match needs 0.14 or "
                  "less)",
                  "Complete: ended by the end recording"}));
}

TEST(RecordTexts, ACutThatIsNotSureIsSaidToBeSo) {
    RecordReport report = CompleteReport();
    report.startSample = 44000;
    report.heardAt = 44100;
    report.startIsExact = true;
    report.endIsExact = false;
    const std::vector<std::string> lines = SummaryLines(report);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[1].substr(0, 20), "The start was jingle");
    EXPECT_EQ(lines[2],
              "The end lies where the recording was heard, on a grid of 12.5 ms: no sample of the "
              "stream stands out");
    report.startIsExact = false;
    EXPECT_EQ(SummaryLines(report)[2].substr(0, 21), "The start lies where ");
}

TEST(RecordTexts, AnIncompleteRecordingTellsWhy) {
    RecordReport report = CompleteReport();
    report.exitCode = ExitCode::kInterrupted;
    report.message = "interrupted";
    EXPECT_EQ(SummaryLines(report).back(), "Incomplete: interrupted");
}

TEST(RecordTexts, NothingRecordedTellsWhy) {
    RecordReport report;
    report.message = "no start";
    EXPECT_EQ(SummaryLines(report), (std::vector<std::string>{"Nothing was recorded: no start"}));
}

TEST(RecordTexts, EventsAreTold) {
    Event event;
    event.body = DetectedEvent{{"jingle", Role::kStart, 66150, 70000, 0.05}};
    EXPECT_EQ(DescribeEvent(event),
              "Heard the start recording jingle at 00:00:01.500 (bit error rate 0.0500)");
    event.body = ReadyEvent{"pcm-pipe://x", 66150, {}};
    EXPECT_EQ(DescribeEvent(event), "Recording from sample 66150 (00:00:01.500)");
    event.body = UnknownEvent{};
    EXPECT_EQ(DescribeEvent(event), "");
}

TEST(RecordTexts, OnlyAnErrorOfTheSessionIsExplained) {
    Event event;
    FinishedEvent finished;
    finished.session.reason = "error";
    finished.session.message = "why";
    event.body = finished;
    EXPECT_EQ(DescribeEvent(event), "The session has finished: error (why)");
    finished.session.reason = "cancelled";
    event.body = finished;
    EXPECT_EQ(DescribeEvent(event), "The session has finished: cancelled");
}

TEST(RecordTexts, AProgramThatEndsBeforeItBeginsIsNoUnderflow) {
    Event event;
    event.body = ProgramEndEvent{{100, 50, 44100, 0, "interrupted"}};
    EXPECT_NE(DescribeEvent(event).find("after 00:00:00.000"), std::string::npos);
}

TEST(RecordTexts, EveryEndOfAProgrammeHasItsCause) {
    const std::map<std::string, std::string> causes = {
        {kEndMaximum, "the maximum length"},
        {kEndOutro, "the end recording"},
        {kEndSourceEnded, "the end of the source"},
        {kEndInterrupted, "a failure of the source"},
        {"unheard_of", "unheard_of"},
    };
    for (const auto& [reason, cause] : causes) {
        Event event;
        event.body = ProgramEndEvent{{44100, 132300, 44100, 0, reason}};
        EXPECT_EQ(DescribeEvent(event),
                  "The programme ends at 00:00:03.000, after 00:00:02.000, because of " + cause);
    }
}

TEST(RecordTexts, WhatIsOnlyReportedHasNoRole) {
    Event event;
    event.body = DetectedEvent{{"news", Role::kOther, 66150, 70000, 0.05}};
    EXPECT_EQ(DescribeEvent(event),
              "Heard the recording news at 00:00:01.500 (bit error rate 0.0500)");
}

TEST(RecordTexts, AFailureOfTheSourceSaysWhetherSomethingIsLeft) {
    Event event;
    event.body = SourceErrorEvent{30, true, 0};
    EXPECT_EQ(DescribeEvent(event),
              "The source failed (error 30); what is buffered is still being recorded");
    event.body = SourceErrorEvent{30, false, 0};
    EXPECT_EQ(DescribeEvent(event), "The source failed (error 30)");
}

TEST(RecordTexts, ALostConnectionSaysWhatIsMissing) {
    Event event;
    ResumedEvent resumed;
    resumed.resumption.outageMs = 7200;
    event.body = resumed;
    EXPECT_EQ(DescribeEvent(event), "Connection lost for 7.2 s, nothing is missing");
    resumed.resumption.lostFrames = 136710;
    resumed.cause = Cause{kCauseReset, "the connection was broken off", {}, {}};
    event.body = resumed;
    EXPECT_EQ(DescribeEvent(event),
              "Connection lost for 7.2 s (the connection was broken off), 3.1 s are missing, "
              "silence was put in");
}

TEST(RecordTexts, DamageAndTitlesAreTold) {
    Event event;
    event.body = DamagedEvent{44100, 0, kDamageUndecodable};
    EXPECT_EQ(DescribeEvent(event), "The source is damaged at 00:00:01.000");
    event.body = DamagedEvent{44100, 22050, kDamageUndecodable};
    EXPECT_EQ(DescribeEvent(event),
              "The source is damaged at 00:00:01.000, 0.5 s cannot be decoded");
    event.body = DamagedEvent{44100, 88200, kDamageDiscontinuity};
    EXPECT_EQ(DescribeEvent(event), "The source is damaged at 00:00:01.000, 2.0 s are missing");
    event.body = TitleEvent{44100, "A song"};
    EXPECT_EQ(DescribeEvent(event), "The station plays A song");
    event.body = TitleEvent{44100, ""};
    EXPECT_EQ(DescribeEvent(event), "");
}

TEST(RecordTexts, ASourceThatFailedSaysWhy) {
    Event event;
    SourceErrorEvent failed;
    failed.error = 30;
    failed.cause = Cause{kCauseReset, "the connection was broken off", {}, {}};
    event.body = failed;
    EXPECT_EQ(DescribeEvent(event), "The source failed: the connection was broken off");
}

TEST(RecordTexts, AProgrammeWithGapsSaysWhatIsMissingAndWhatEndedIt) {
    RecordReport report = CompleteReport();
    report.exitCode = ExitCode::kGaps;
    report.message = "3.1 s are missing in 1 place";
    EXPECT_EQ(SummaryLines(report).back(),
              "Complete, but 3.1 s are missing in 1 place: ended by the end recording");
    report.exitCode = ExitCode::kComplete;
    report.untilReached = true;
    EXPECT_EQ(SummaryLines(report).back(), "Complete: ended by the time that was set");
}

}  // namespace receiver
