#include "receiver_record/display/live_status.h"

#include <gtest/gtest.h>

#include "wire/messages.h"

namespace receiver {
namespace {

SessionRecord InState(const std::string& state) {
    SessionRecord session;
    session.state = state;
    return session;
}

AudioProgress Audio(uint64_t frames) {
    AudioProgress audio;
    audio.format = {44100, 2};
    audio.framesQueued = frames;
    return audio;
}

}  // namespace

TEST(LiveStatus, TheStateIsTheSessionsUntilItIsStopped) {
    LiveStatus status;
    EXPECT_EQ(status.Status().state, "STARTING");
    SessionRecord session = InState(kStateScanning);
    status.SetSession(session, false);
    EXPECT_EQ(status.Status().state, "SCANNING");
    status.SetSession(session, true);
    EXPECT_EQ(status.Status().state, "STOPPING");
    session.state = kStateFinished;
    session.finished = {kReasonCancelled, ""};
    status.SetSession(session, true);
    EXPECT_EQ(status.Status().state, "FINISHED");
}

TEST(LiveStatus, TheLastMatchIsShown) {
    LiveStatus status;
    SessionRecord session;
    status.SetSession(session, false);
    EXPECT_EQ(status.Status().matchId, "");
    session.matches = {{"a", Role::kStart, 0, 0, 0.1}, {"b", Role::kEnd, 0, 0, 0.2}};
    status.SetSession(session, false);
    EXPECT_EQ(status.Status().matchId, "b");
    EXPECT_EQ(status.Status().matchBer, 0.2);
}

TEST(LiveStatus, BytesAndSamplesBecomeTimes) {
    LiveStatus status;
    BufferStatistics buffer;
    buffer.sampleRate = 44100;
    buffer.nextSample = 441000;
    buffer.availableBytes = 44100 * 4;
    buffer.blockAlign = 4;
    status.SetBuffer(buffer, 1000);
    EXPECT_EQ(status.Status().streamMs, 10000u);
    EXPECT_EQ(status.Status().bufferMs, 1000u);
}

TEST(LiveStatus, BetweenTwoAnswersTheStreamGoesOnAtItsPace) {
    LiveStatus status;
    BufferStatistics buffer;
    buffer.sampleRate = 44100;
    buffer.nextSample = 441000;
    buffer.availableBytes = 44100 * 4;
    buffer.blockAlign = 4;
    status.SetBuffer(buffer, 1000);
    status.SetTime(3000);
    EXPECT_EQ(status.Status().streamMs, 12000u);
    EXPECT_EQ(status.Status().bufferMs, 3000u);
    buffer.nextSample += 5 * 44100;  // in ten seconds
    status.SetBuffer(buffer, 11000);
    EXPECT_EQ(status.Status().streamMs, 15000u);
    status.SetTime(13000);
    EXPECT_EQ(status.Status().streamMs, 16000u);
}

TEST(LiveStatus, WhatIsFetchedIsNoLongerInTheBuffer) {
    LiveStatus status;
    BufferStatistics buffer;
    buffer.sampleRate = 44100;
    buffer.availableBytes = 5 * 44100 * 4;
    buffer.blockAlign = 4;
    status.SetAudio(Audio(44100), 0);
    status.SetBuffer(buffer, 1000);
    EXPECT_EQ(status.Status().bufferMs, 5000u);
    status.SetAudio(Audio(4 * 44100), 0);
    status.SetTime(2000);
    EXPECT_EQ(status.Status().bufferMs, 3000u);
    status.SetAudio(Audio(90 * 44100), 0);
    status.SetTime(2000);
    EXPECT_EQ(status.Status().bufferMs, 0u);
}

TEST(LiveStatus, ASourceThatHasEndedGoesOnNoLonger) {
    LiveStatus status;
    BufferStatistics buffer;
    buffer.sampleRate = 44100;
    buffer.nextSample = 441000;
    status.SetBuffer(buffer, 1000);
    SessionRecord session;
    session.sourceFailed = true;
    status.SetSession(session, false);
    status.SetTime(9000);
    EXPECT_EQ(status.Status().streamMs, 10000u);
    LiveStatus other;
    buffer.finished = true;
    other.SetBuffer(buffer, 1000);
    other.SetTime(9000);
    EXPECT_EQ(other.Status().streamMs, 10000u);
}

TEST(LiveStatus, ABufferOfUnknownFormatIsNotDividedBy) {
    LiveStatus status;
    status.SetBuffer({}, 1000);
    EXPECT_EQ(status.Status().streamMs, 0u);
    EXPECT_FALSE(status.Status().bufferMs);
}

TEST(LiveStatus, WhatRemainsIsKnownOnceTheEndIs) {
    LiveStatus status;
    SessionRecord session;
    status.SetSession(session, false);
    status.SetAudio(Audio(0), 0.5);
    EXPECT_FALSE(status.Status().programMs);
    EXPECT_FALSE(status.Status().peak);
    status.SetAudio(Audio(44100), 0.5);
    EXPECT_EQ(status.Status().programMs, 1000u);
    EXPECT_EQ(status.Status().peak, 0.5);
    EXPECT_FALSE(status.Status().remainingMs);
    session.program = Program{0, 132300, 44100, 0, kEndMaximum};
    status.SetSession(session, false);
    status.SetAudio(Audio(44100), 0);
    EXPECT_EQ(status.Status().remainingMs, 2000u);
    EXPECT_GT(status.Status().peak, 0.3);  // it falls slowly
    status.SetAudio(Audio(150000), 0);
    EXPECT_EQ(status.Status().remainingMs, 0u);
}

}  // namespace receiver
