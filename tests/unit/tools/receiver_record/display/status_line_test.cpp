#include "receiver_record/display/status_line.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

RecordStatus Recording() {
    RecordStatus status;
    status.state = "RECORDING";
    status.streamMs = 905000;
    status.bufferMs = 3250;
    status.peak = 0.5;
    status.matchId = "jingle";
    status.matchBer = 0.0213;
    status.programMs = 754000;
    status.remainingMs = 2546000;
    return status;
}

}  // namespace

TEST(StatusLine, AWideTerminalShowsEverything) {
    EXPECT_EQ(RenderStatusLine(Recording(), 120),
              "RECORDING  00:12:34  -00:42:26  [#########-]  -6 dB  buffer 3.2s  jingle 0.021  "
              "stream 00:15:05");
}

TEST(StatusLine, EightyColumnsStillShowEverythingInBrief) {
    EXPECT_EQ(RenderStatusLine(Recording(), 79),
              "RECORDING  00:12:34  -00:42:26  [####-]  buf 3.2s  jingle 0.021  at 00:15:05");
}

TEST(StatusLine, ALongNameCostsTheLeastImportantParts) {
    RecordStatus status = Recording();
    status.matchId = "monday-jingle";
    EXPECT_EQ(RenderStatusLine(status, 79),
              "RECORDING  00:12:34  -00:42:26  [####-]  buf 3.2s  monday-jingle 0.021");
}

TEST(StatusLine, FortyColumnsKeepStateTimesAndMeter) {
    EXPECT_EQ(RenderStatusLine(Recording(), 39), "RECORDING  00:12:34  -00:42:26  [####-]");
}

TEST(StatusLine, NoWidthIsExceeded) {
    for (size_t width = 0; width <= 130; ++width) {
        EXPECT_LE(RenderStatusLine(Recording(), width).size(), width);
    }
}

TEST(StatusLine, WhatIsNotKnownYetIsLeftOut) {
    RecordStatus status;
    status.state = "SCANNING";
    status.streamMs = 5000;
    EXPECT_EQ(RenderStatusLine(status, 80), "SCANNING  stream 00:00:05");
}

TEST(StatusLine, ALongNameIsCut) {
    RecordStatus status = Recording();
    status.matchId = std::string(80, 'x');
    EXPECT_NE(RenderStatusLine(status, 120).find("  " + std::string(16, 'x') + " 0.021"),
              std::string::npos);
}

TEST(StatusLine, TheMeterSpansSixtyDecibels) {
    EXPECT_EQ(RenderLevelMeter(1.0, 10), "##########");
    EXPECT_EQ(RenderLevelMeter(0.0316, 10), "#####-----");
    EXPECT_EQ(RenderLevelMeter(0.001, 10), "----------");
    EXPECT_EQ(RenderLevelMeter(0, 10), "----------");
}

TEST(StatusLine, SilenceHasNoLevel) {
    RecordStatus status;
    status.state = "RECORDING";
    status.peak = 0;
    EXPECT_EQ(RenderStatusLine(status, 80), "RECORDING  [----------] -inf dB");
}

TEST(StatusLine, TheMeterRisesAtOnceAndFallsSlowlyToSilence) {
    EXPECT_EQ(NextMeterPeak(0.1, 0.9), 0.9);
    EXPECT_NEAR(NextMeterPeak(0.5, 0), 0.4, 1e-9);
    EXPECT_EQ(NextMeterPeak(0.5, 0.45), 0.45);
    EXPECT_EQ(NextMeterPeak(1.0 / 32768, 0), 0);
}

}  // namespace receiver
