#include "receiver_record/cut/jingle_sound.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "testing/audio_encoder.h"
#include "testing/audio_generator.h"
#include "testing/broadcast.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

class JingleSoundTest : public testing::Test {
protected:
    JingleSound Load(const TestPcm& pcm) const {
        WriteWavFile(path_, pcm);
        return LoadJingleSound(path_);
    }

    const TempFolder folder_;
    const std::string path_ = folder_.File("jingle.wav");
};

}  // namespace

TEST_F(JingleSoundTest, AShortRecordingIsKeptAsAWholeAndCountedAsTheReceiverCounts) {
    const TestPcm pcm = MakeMusic(1, 44100, 2, 60001);
    const JingleSound sound = Load(pcm);
    EXPECT_EQ(sound.frames, 60001U);
    EXPECT_EQ(sound.countedAs, OutroLength(path_));
    ASSERT_EQ(sound.head.size(), 60001U);
    EXPECT_EQ(sound.head, sound.tail);
    EXPECT_EQ(sound.tailAt, 0U);
    for (const size_t i : {0U, 777U, 60000U}) {
        EXPECT_EQ(sound.head[i],
                  static_cast<float>((pcm.samples[2 * i] + pcm.samples[2 * i + 1]) / 2));
    }
}

TEST_F(JingleSoundTest, OfALongRecordingTheTwoEndsAreKept) {
    const size_t frames = 3 * kMaxJingleEndFrames + 12345;
    const TestPcm pcm = MakeMusic(2, 44100, 1, frames);
    const JingleSound sound = Load(pcm);
    EXPECT_EQ(sound.frames, frames);
    ASSERT_EQ(sound.head.size(), kMaxJingleEndFrames);
    ASSERT_EQ(sound.tail.size(), kMaxJingleEndFrames);
    EXPECT_EQ(sound.tailAt, frames - kMaxJingleEndFrames);
    EXPECT_EQ(sound.head.front(), pcm.samples.front());
    EXPECT_EQ(sound.head.back(), pcm.samples[kMaxJingleEndFrames - 1]);
    EXPECT_EQ(sound.tail.front(), pcm.samples[sound.tailAt]);
    EXPECT_EQ(sound.tail.back(), pcm.samples.back());
}

TEST_F(JingleSoundTest, ARecordingOfAnotherRateIsAsLongAsItLasts) {
    const JingleSound sound = Load(MakeMusic(3, 48000, 2, 96000));
    EXPECT_EQ(sound.frames, 88200U);
    EXPECT_EQ(sound.countedAs, OutroLength(path_));
    EXPECT_NEAR(static_cast<double>(sound.head.size()), 88200, 100);
}

TEST_F(JingleSoundTest, WhatIsNoAudioIsSaidToBeNone) {
    WriteFileBytes(path_, "no audio");
    EXPECT_THROW(LoadJingleSound(path_), std::runtime_error);
    EXPECT_THROW(LoadJingleSound(folder_.File("missing.wav")), std::runtime_error);
}

}  // namespace receiver
