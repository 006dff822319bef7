#include "receiver_record/output/audio_intake.h"

#include <gtest/gtest.h>

#include "testing/fake_peer.h"
#include "unit/tools/audio_output/fake_sink.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

void SendHeader(FakePeer& peer) {
    Pcm1Header header;
    header.sampleRate = 44100;
    header.channels = 2;
    header.bitsPerSample = 16;
    peer.Send(&header, sizeof(header));
}

void SendFrames(FakePeer& peer, uint64_t first, uint32_t frames) {
    const Pcm1ChunkRecord record{kPcm1Data, frames * 4, first, 0};
    peer.Send(&record, sizeof(record));
    peer.Send(std::string(frames * 4, '\1'));
}

void SendEnd(FakePeer& peer, uint32_t type, uint64_t frames, uint64_t status) {
    const Pcm1ChunkRecord record{type, 0, frames, status};
    peer.Send(&record, sizeof(record));
    Pcm1Acknowledgement acknowledgement;
    peer.Receive(&acknowledgement, sizeof(acknowledgement));
}

void SendWholeStream(FakePeer& peer) {
    SendHeader(peer);
    SendFrames(peer, 0, 441);
    SendFrames(peer, 441, 441);
    SendEnd(peer, kPcm1End, 882, 0);
}

class AudioIntakeTest : public testing::Test {
protected:
    AudioProgress RunAgainst(FakePeer& peer) {
        AudioIntake intake({.uri = peer.Uri()}, WavFormat(), {}, sink_);
        intake.WaitForEnd();
        EXPECT_TRUE(intake.Ended());
        intake.Finish();
        peak_ = intake.TakePeak();
        return intake.GetProgress();
    }
    FakeSink sink_;
    double peak_ = 0;
};

}  // namespace

TEST_F(AudioIntakeTest, AWholeStreamIsWrittenAndAcknowledged) {
    FakePeer peer(SendWholeStream);
    const AudioProgress progress = RunAgainst(peer);
    EXPECT_EQ(progress.end, AudioEnd::kComplete) << progress.failure;
    EXPECT_EQ(progress.framesWritten, 882u);
    EXPECT_EQ(progress.format.channels, 2);
    EXPECT_EQ(peak_, 0x101 / 32768.0);
    EXPECT_TRUE(progress.playable);
}

TEST_F(AudioIntakeTest, AFailedSourceKeepsWhatCame) {
    FakePeer peer([](FakePeer& p) {
        SendHeader(p);
        SendFrames(p, 0, 441);
        SendEnd(p, kPcm1SourceFailed, 441, kPcm1SourceFailedStatus);
    });
    const AudioProgress progress = RunAgainst(peer);
    EXPECT_EQ(progress.end, AudioEnd::kSourceFailed);
    EXPECT_EQ(progress.framesWritten, 441u);
    EXPECT_TRUE(progress.playable);
}

TEST_F(AudioIntakeTest, APipeThatBreaksKeepsWhatCame) {
    FakePeer peer([](FakePeer& p) {
        SendHeader(p);
        SendFrames(p, 0, 441);
    });
    const AudioProgress progress = RunAgainst(peer);
    EXPECT_EQ(progress.end, AudioEnd::kLost);
    EXPECT_NE(progress.failure, "");
    EXPECT_EQ(progress.framesWritten, 441u);
    EXPECT_TRUE(progress.playable);
}

TEST_F(AudioIntakeTest, WhatIsNoAudioStreamIsRefused) {
    FakePeer peer([](FakePeer& p) {
        p.Send(std::string(40, 'x'));
        p.WaitForHangUp();
    });
    const AudioProgress progress = RunAgainst(peer);
    EXPECT_EQ(progress.end, AudioEnd::kLost);
    EXPECT_FALSE(progress.playable);
    EXPECT_EQ(sink_.Size(), 0u);
}

TEST_F(AudioIntakeTest, StopEndsTheWaitForMoreAndKeepsWhatCame) {
    ManualResetEvent sent;
    FakePeer peer([&](FakePeer& p) {
        SendHeader(p);
        SendFrames(p, 0, 441);
        sent.Signal();
        p.WaitForHangUp();
    });
    AudioIntake intake({.uri = peer.Uri()}, WavFormat(), {}, sink_);
    ASSERT_TRUE(sent.Wait(kPatienceMs));
    intake.Stop();
    intake.WaitForEnd();
    EXPECT_EQ(intake.GetProgress().end, AudioEnd::kLost);
}

TEST_F(AudioIntakeTest, AnOutputThatFailsEndsTheIntake) {
    sink_.SetCapacity(2000);
    FakePeer peer([](FakePeer& p) {
        SendHeader(p);
        for (uint64_t first = 0;; first += 441) SendFrames(p, first, 441);
    });
    const AudioProgress progress = RunAgainst(peer);
    EXPECT_EQ(progress.end, AudioEnd::kOutputFailed);
    EXPECT_EQ(progress.failure, "No space left");
}

}  // namespace receiver
