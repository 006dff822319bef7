#include "receiver_record/output/served_audio.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/manual_reset_event.h"
#include "testing/audio_generator.h"
#include "testing/fake_peer.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

constexpr uint32_t kPieceFrames = 441;

// Serves a part of the audio: to a regular end, or as a process that dies does.
FakePeer::Script Serving(const TestPcm& audio, size_t first, size_t end, bool isWhole) {
    return [&audio, first, end, isWhole](FakePeer& peer) {
        Pcm1Header header;
        header.sampleRate = 44100;
        header.channels = 2;
        header.bitsPerSample = 16;
        peer.Send(&header, sizeof(header));
        for (size_t at = first; at < end; at += kPieceFrames) {
            const Pcm1ChunkRecord record{kPcm1Data, kPieceFrames * 4, at - first, 0};
            peer.Send(&record, sizeof(record));
            peer.Send(audio.samples.data() + at * 2, kPieceFrames * 4);
        }
        if (!isWhole) return;
        const Pcm1ChunkRecord record{kPcm1End, 0, end - first, 0};
        peer.Send(&record, sizeof(record));
        Pcm1Acknowledgement acknowledgement;
        peer.Receive(&acknowledgement, sizeof(acknowledgement));
    };
}

class ServedAudioTest : public testing::Test {
protected:
    static constexpr size_t kSecond = 44100;

    // On a thread of its own, to its end.
    void Listen(ServedAudio& audio, const std::string& uri) {
        reader_ = std::thread([this, &audio, uri] {
            if (!audio.Open(uri)) return;
            std::vector<std::byte> buffer(8192);
            while (const size_t bytes = audio.Read(buffer)) {
                const auto* const samples = reinterpret_cast<const int16_t*>(buffer.data());
                heard_.insert(heard_.end(), samples, samples + bytes / 2);
            }
        });
    }
    void AwaitEnd() { reader_.join(); }
    void ExpectHeard(size_t frames) const {
        EXPECT_TRUE(heard_ == Slice(noise_, 0, frames).samples) << heard_.size() / 2;
    }

    const TestPcm noise_ = MakeNoise(7, 44100, 2, 8 * kSecond);
    std::vector<int16_t> heard_;  // the reader's, until AwaitEnd
    std::thread reader_;
};

}  // namespace

TEST_F(ServedAudioTest, WhatTheNextSessionRepeatsIsLeftOut) {
    FakePeer first(Serving(noise_, 0, 4 * kSecond, false));
    FakePeer second(Serving(noise_, 2 * kSecond, 8 * kSecond, true));
    ServedAudio audio(true, {});
    Listen(audio, first.Uri());
    first.Join();
    audio.Continue(second.Uri());
    AwaitEnd();
    ExpectHeard(8 * kSecond);
    EXPECT_EQ(audio.Ending(), AudioEnd::kComplete);
    const std::vector<AudioJoint> joints = audio.TakeJoints();
    ASSERT_EQ(joints.size(), 1u);
    EXPECT_TRUE(joints[0].isNewest);
    EXPECT_TRUE(joints[0].resumption.exact);
    EXPECT_EQ(joints[0].resumption.lostFrames, 0u);
    // Of what a pipe brought last some is taken from the next one.
    EXPECT_EQ(joints[0].resumption.repeatedFrames, joints[0].resumption.sample - 2 * kSecond);
}

TEST_F(ServedAudioTest, APipeThatCannotBeOpenedIsFollowedByTheNext) {
    FakePeer first(Serving(noise_, 0, 4 * kSecond, false));
    FakePeer second([](FakePeer& peer) { peer.Send(std::string(40, 'x')); });
    FakePeer third(Serving(noise_, 3 * kSecond, 8 * kSecond, true));
    ServedAudio audio(true, {});
    Listen(audio, first.Uri());
    first.Join();
    audio.Continue(second.Uri());
    second.Join();
    audio.Continue(third.Uri());
    AwaitEnd();
    ExpectHeard(8 * kSecond);
}

TEST_F(ServedAudioTest, StopEndsTheWaitForTheNextAndKeepsAllThatCame) {
    FakePeer first(Serving(noise_, 0, 4 * kSecond, false));
    ServedAudio audio(true, {});
    Listen(audio, first.Uri());
    first.Join();
    audio.Stop();
    AwaitEnd();
    EXPECT_EQ(audio.Ending(), AudioEnd::kLost);
    EXPECT_FALSE(audio.IsWaiting());
    EXPECT_TRUE(audio.TakeJoints().empty());
    ASSERT_LE(heard_.size() / 2, 4 * kSecond);
    ExpectHeard(heard_.size() / 2);
}

TEST_F(ServedAudioTest, WithoutAContinuationABrokenPipeIsTheEnd) {
    FakePeer first(Serving(noise_, 0, 4 * kSecond, false));
    ServedAudio audio(false, {});
    Listen(audio, first.Uri());
    AwaitEnd();
    EXPECT_EQ(audio.Ending(), AudioEnd::kLost);
    EXPECT_NE(audio.Failure(), "");
    ExpectHeard(4 * kSecond);
}

TEST_F(ServedAudioTest, ASessionThatHasSaidHowItEndedIsNotContinued) {
    FakePeer first(Serving(noise_, 0, 4 * kSecond, true));
    ServedAudio audio(true, {});
    Listen(audio, first.Uri());
    AwaitEnd();
    EXPECT_EQ(audio.Ending(), AudioEnd::kComplete);
    ExpectHeard(4 * kSecond);
}

}  // namespace receiver
