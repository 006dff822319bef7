#include "session/session_events.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace receiver {

TEST(SessionEvents, AMatchObjectNamesItsReferenceAndRole) {
    const PreparedReference reference{.id = "jingle", .role = "start", .path = "x.wav"};
    const DetectorMatch match{
        .referenceIndex = 3, .sample = 10, .observedAfterSample = 20, .ber = 0.125};
    EXPECT_EQ(MakeMatchObject(reference, match).dump(),
              R"({"ber":0.125,"observedAfterSample":20,"referenceId":"jingle","role":"start",)"
              R"("sample":10})");
}

TEST(SessionEvents, AProgramObjectCountsAt44100Hz) {
    const ProgramEnd end{.startSample = 1, .endSample = 5, .fadeFrames = 4, .reason = "maximum"};
    EXPECT_EQ(MakeProgramObject(end).dump(),
              R"({"endSample":5,"fadeFrames":4,"reason":"maximum","sampleRate":44100,)"
              R"("startSample":1})");
}

TEST(SessionEvents, AStatisticsObjectHoldsEveryReportedField) {
    CRubberBufferAudioFile::Stats stats;
    stats.receivedBytes = 1;
    stats.retainedBytes = 2;
    stats.peakRetainedBytes = 3;
    stats.readBytes = 4;
    stats.readSample = 5;
    stats.firstSample = 6;
    stats.nextSample = 7;
    stats.availableBytes = 8;
    stats.sampleRate = 9;
    stats.blockAlign = 10;
    stats.blocks = 11;
    stats.error = 12;
    stats.finished = true;
    stats.ownerThread = 13;
    stats.lastWriteTick = 14;  // is not reported
    EXPECT_EQ(MakeStatisticsObject(stats).dump(),
              R"({"availableBytes":8,"blockAlign":10,"blocks":11,"error":12,"finished":true,)"
              R"("firstSample":6,"nextSample":7,"ownerThread":13,"peakRetainedBytes":3,)"
              R"("readBytes":4,"readSample":5,"receivedBytes":1,"retainedBytes":2,)"
              R"("sampleRate":9})");
}

}  // namespace receiver
