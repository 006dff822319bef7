#include "receiver_record/control/series_course.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

TurnEnd Recorded(ExitCode exitCode = ExitCode::kComplete) {
    return {.exitCode = exitCode, .hasRecorded = true, .hasConnected = true};
}

TurnEnd Silent(ExitCode exitCode) {
    return {.exitCode = exitCode, .hasConnected = true};
}

}  // namespace

TEST(SeriesCourse, AfterAProgrammeTheNextOneIsWaitedForAtOnce) {
    SeriesCourse course;
    EXPECT_EQ(course.After(Recorded()), 0u);
    EXPECT_EQ(course.After(Recorded(ExitCode::kGaps)), 0u);
    EXPECT_EQ(course.Recorded(), 2u);
    TurnEnd ended = Recorded();
    ended.sourceEnded = true;
    EXPECT_GT(course.After(ended), 0u) << "a file would be recorded again and again";
}

TEST(SeriesCourse, AStationThatFailsIsTriedWithPausesOfAMinuteAtMost) {
    SeriesCourse course;
    course.After(Recorded());
    uint64_t pause = 0;
    for (int i = 0; i < 20; ++i) {
        const auto next = course.After(Silent(ExitCode::kSourceError));
        ASSERT_TRUE(next);
        EXPECT_GE(*next, pause);
        pause = *next;
    }
    EXPECT_EQ(pause, SeriesCourse::kMaxPauseMs);
    course.After(Recorded());
    EXPECT_EQ(course.After(Silent(ExitCode::kStartNotFound)), 1000u);
}

TEST(SeriesCourse, AStationThatWasNeverThereEndsTheSeries) {
    SeriesCourse course;
    EXPECT_FALSE(course.After({.exitCode = ExitCode::kSourceError}));
    EXPECT_EQ(course.Result(), ExitCode::kSourceError);
}

TEST(SeriesCourse, WhatNoWaitingMendsEndsTheSeries) {
    for (const ExitCode code :
         {ExitCode::kUsage, ExitCode::kFailure, ExitCode::kOutputError, ExitCode::kInterrupted}) {
        SeriesCourse course;
        course.After(Recorded());
        EXPECT_FALSE(course.After(Silent(code)));
        EXPECT_EQ(course.Result(), code);
    }
}

TEST(SeriesCourse, TheResultIsTheWorstOfTheProgrammes) {
    SeriesCourse course;
    course.After(Recorded(ExitCode::kSourceError));
    course.After(Recorded(ExitCode::kGaps));
    TurnEnd stopped = Silent(ExitCode::kStartNotFound);
    stopped.isStopped = true;
    EXPECT_FALSE(course.After(stopped));
    EXPECT_EQ(course.Result(), ExitCode::kSourceError);
}

// A signal may come just when a programme has been completed, or while the next one is waited for.
TEST(SeriesCourse, AnInterruptionIsOneWheneverItComes) {
    SeriesCourse course;
    TurnEnd stopped = Recorded();
    stopped.isStopped = true;
    EXPECT_FALSE(course.After(stopped));
    course.Interrupt();
    EXPECT_EQ(course.Result(), ExitCode::kInterrupted);
    SeriesCourse failed;
    failed.After({.exitCode = ExitCode::kOutputError});
    failed.Interrupt();
    EXPECT_EQ(failed.Result(), ExitCode::kOutputError);
}

TEST(SeriesCourse, AStopWithoutAnyProgrammeIsNoSuccess) {
    SeriesCourse course;
    TurnEnd stopped = Silent(ExitCode::kStartNotFound);
    stopped.isStopped = true;
    EXPECT_FALSE(course.After(stopped));
    EXPECT_EQ(course.Result(), ExitCode::kStartNotFound);
    EXPECT_EQ(course.Recorded(), 0u);
}

}  // namespace receiver
