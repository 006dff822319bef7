#include "audio/splice.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "testing/audio_encoder.h"
#include "testing/pcm_reading.h"
#include "testing/temp_folder.h"
#include "testing/tuning_in.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr uint32_t kRate = 44100;
constexpr int kCuts = 50;
constexpr const char* kNoEncoder = "this FFmpeg has no such encoder";

PcmView ViewOf(const TestPcm& pcm, size_t frames) {
    return {pcm.samples.data(), frames, static_cast<uint16_t>(pcm.channels)};
}
PcmView ViewOf(const TestPcm& pcm) {
    return ViewOf(pcm, pcm.Frames());
}

TestPcm Decode(const std::string& bytes) {
    const TempFolder folder;
    WriteFileBytes(folder.File("audio"), bytes);
    return DecodeFile(folder.File("audio"), kRate);
}

// A broadcast that is heard up to some place, and tuned in to again a little before it.
class SpliceOfCodecTest : public testing::Test {
protected:
    // Where a listener who tunes in again goes on, `overlap` frames after the first one that he
    // gets; nothing where it cannot be told. `whole` is what is heard unbroken.
    struct Cut {
        TestPcm beginning;
        size_t end;      // of what was heard
        size_t overlap;  // frames of the beginning that lie before it
        std::optional<Joint> joint;
    };

    void Broadcast(AudioCoding coding, int channels) {
        coding_ = coding;
        broadcast_ =
            EncodeAudio(MakeMusic(11, kRate, channels, kRate * 16), coding, 64000 * channels);
        whole_ = Decode(broadcast_);
    }

    Cut CutAtRandom() {
        const size_t position = broadcast_.size() / 3 + random_.Below(broadcast_.size() / 3);
        const TunedIn tuned = TuneIn(broadcast_, coding_, position);
        Cut cut{Decode(tuned.bytes), 0, 0, {}};
        cut.overlap = kRate / 5 + random_.Below(4 * kRate);
        cut.end = StartOf(tuned, cut.beginning) + cut.overlap;
        const auto pattern = MakeSplicePattern(ViewOf(whole_, cut.end), cut.end, kRate);
        const size_t burst = std::min(cut.beginning.Frames(), cut.overlap + kRate * 3 / 2);
        // The clock is off by 30 ms.
        cut.joint = FindJoint(pattern, ViewOf(cut.beginning, burst), kRate,
                              static_cast<int64_t>(cut.overlap) + kRate * 3 / 100);
        return cut;
    }

    // In the whole; MP3 files tell how much of their beginning is no audio, AAC streams do not.
    size_t StartOf(const TunedIn& tuned, const TestPcm& beginning) const {
        if (coding_ == AudioCoding::kAacAdts) return tuned.frame * 1024;
        if (coding_ != AudioCoding::kMp3) return whole_.Frames() - beginning.Frames();
        return (tuned.frame - 1) * 1152 - 1105;  // one frame is no audio, nor are 1105 samples
    }

    // The largest difference of a sample after the joint, from the unbroken broadcast.
    int DifferenceAfter(const Cut& cut) const {
        const auto channels = static_cast<size_t>(whole_.channels);
        const size_t frames =
            std::min(cut.beginning.Frames() - cut.joint->next, whole_.Frames() - cut.end);
        int most = 0;
        for (size_t i = 0; i < frames * channels; ++i) {
            const int a = cut.beginning.samples[cut.joint->next * channels + i];
            most = std::max(most, std::abs(a - whole_.samples[cut.end * channels + i]));
        }
        return most;
    }

    void ExpectIdentical() {
        for (int i = 0; i < kCuts; ++i) {
            const Cut cut = CutAtRandom();
            ASSERT_TRUE(cut.joint) << i;
            EXPECT_TRUE(cut.joint->exact) << i;
            EXPECT_EQ(cut.joint->next, cut.overlap) << i;
            EXPECT_EQ(DifferenceAfter(cut), 0) << i;
        }
    }

    AudioCoding coding_ = AudioCoding::kMp3;
    std::string broadcast_;
    TestPcm whole_;
    TestRandom random_{5};
};

TestPcm JoinedPcm(const TestPcm& before, size_t end, const TestPcm& after, size_t next) {
    return Concatenate({Slice(before, 0, end), Slice(after, next, after.Frames() - next)});
}

}  // namespace

TEST_F(SpliceOfCodecTest, Mp3GoesOnBitByBit) {
    if (!CanEncode(AudioCoding::kMp3)) GTEST_SKIP() << kNoEncoder;
    Broadcast(AudioCoding::kMp3, 2);
    ExpectIdentical();
}

TEST_F(SpliceOfCodecTest, VorbisGoesOnBitByBit) {
    if (!CanEncode(AudioCoding::kOggVorbis)) GTEST_SKIP() << kNoEncoder;
    Broadcast(AudioCoding::kOggVorbis, 2);
    ExpectIdentical();
}

TEST_F(SpliceOfCodecTest, FlacGoesOnBitByBit) {
    if (!CanEncode(AudioCoding::kOggFlac)) GTEST_SKIP() << kNoEncoder;
    Broadcast(AudioCoding::kOggFlac, 1);
    ExpectIdentical();
}

TEST_F(SpliceOfCodecTest, OpusIsAlignedToTheSample) {
    if (!CanEncode(AudioCoding::kOggOpus)) GTEST_SKIP() << kNoEncoder;
    Broadcast(AudioCoding::kOggOpus, 2);
    for (int i = 0; i < kCuts; ++i) {
        const Cut cut = CutAtRandom();
        ASSERT_TRUE(cut.joint) << i;
        EXPECT_EQ(cut.joint->next, cut.overlap) << i;
        // Its filters take half a second to forget how they began.
        EXPECT_LE(DifferenceAfter(cut), cut.overlap > kRate / 2 ? 1 : 256) << i;
    }
}

TEST_F(SpliceOfCodecTest, AacIsAlignedToTheSample) {
    if (!CanEncode(AudioCoding::kAacAdts)) GTEST_SKIP() << kNoEncoder;
    Broadcast(AudioCoding::kAacAdts, 2);
    for (int i = 0; i < kCuts; ++i) {
        const Cut cut = CutAtRandom();
        ASSERT_TRUE(cut.joint) << i;
        EXPECT_EQ(cut.joint->next, cut.overlap) << i;
    }
}

TEST_F(SpliceOfCodecTest, AnotherCodingOfTheSameAudioIsAligned) {
    if (!CanEncode(AudioCoding::kOggVorbis) || !CanEncode(AudioCoding::kOggOpus))
        GTEST_SKIP() << kNoEncoder;
    Broadcast(AudioCoding::kOggVorbis, 2);
    const TestPcm other = Decode(EncodeAudio(whole_, AudioCoding::kOggOpus));
    const size_t end = 10 * kRate, start = 8 * kRate;
    const auto pattern = MakeSplicePattern(ViewOf(whole_, end), end, kRate);
    const TestPcm beginning = Slice(other, start, 4 * kRate);
    const auto joint = FindJoint(pattern, ViewOf(beginning), kRate, std::nullopt);
    ASSERT_TRUE(joint);
    EXPECT_FALSE(joint->exact);
    EXPECT_NEAR(static_cast<double>(joint->next), end - start, 2);
}

TEST(Splice, ABeginningThatIsStillTooShortIsNotFoundAndThenIs) {
    const TestPcm whole = MakeMusic(1, kRate, 2, 20 * kRate);
    const size_t end = 12 * kRate, start = 10 * kRate;
    const auto pattern = MakeSplicePattern(ViewOf(whole, end), end, kRate);
    const TestPcm beginning = Slice(whole, start, 4 * kRate);
    EXPECT_FALSE(FindSureJoint(pattern, ViewOf(beginning, 2 * kRate - 1), 0));
    const auto joint = FindSureJoint(pattern, ViewOf(beginning, 2 * kRate), 2 * kRate - 100);
    ASSERT_TRUE(joint);
    EXPECT_TRUE(joint->exact);
    EXPECT_EQ(joint->next, end - start);
}

TEST(Splice, ABeginningFromBeforeTheHistoryIsFound) {
    const TestPcm whole = MakeMusic(2, kRate, 1, 40 * kRate);
    const TestPcm history = Slice(whole, 20 * kRate, 6 * kRate);
    const auto pattern = MakeSplicePattern(ViewOf(history), history.Frames(), kRate);
    const TestPcm beginning = Slice(whole, 5 * kRate, 30 * kRate);
    const auto joint = FindSureJoint(pattern, ViewOf(beginning), 0);
    ASSERT_TRUE(joint);
    EXPECT_EQ(joint->next, 21U * kRate);
}

TEST(Splice, OtherAudioIsNotFound) {
    const TestPcm history = MakeMusic(3, kRate, 2, 10 * kRate);
    const auto pattern = MakeSplicePattern(ViewOf(history), history.Frames(), kRate);
    for (uint64_t seed = 0; seed < 10; ++seed) {
        const TestPcm other = MakeMusic(100 + seed, kRate, 2, 6 * kRate);
        EXPECT_FALSE(FindSureJoint(pattern, ViewOf(other), 0)) << seed;
        EXPECT_FALSE(FindJoint(pattern, ViewOf(other), kRate, 4 * kRate)) << seed;
    }
}

TEST(Splice, AllChannelsCount) {
    const TestPcm whole = MakeMusic(4, kRate, 8, 12 * kRate);
    const size_t end = 8 * kRate;
    const auto pattern = MakeSplicePattern(ViewOf(whole, end), end, kRate);
    TestPcm beginning = Slice(whole, 6 * kRate, 4 * kRate);
    ASSERT_EQ(FindSureJoint(pattern, ViewOf(beginning), 0).value_or(Joint{}).next, 2U * kRate);
    for (size_t i = 7; i < beginning.samples.size(); i += 8) beginning.samples[i] ^= 1;
    EXPECT_FALSE(FindSureJoint(pattern, ViewOf(beginning), 0));
}

// Audio that ends in silence is recognised by what stands before the silence.
TEST(Splice, SilenceAtTheEndIsCountedFromTheAudioBeforeIt) {
    const TestPcm whole =
        Concatenate({MakeMusic(5, kRate, 2, 8 * kRate), MakeSilence(kRate, 2, 2 * kRate),
                     MakeMusic(6, kRate, 2, 4 * kRate)});
    const size_t end = 9 * kRate, start = 7 * kRate;
    const auto pattern = MakeSplicePattern(ViewOf(whole, end), end, kRate);
    const TestPcm beginning = Slice(whole, start, 6 * kRate);
    EXPECT_FALSE(FindSureJoint(pattern, ViewOf(beginning, 2 * kRate - 1), 0));
    const auto joint = FindSureJoint(pattern, ViewOf(beginning), 0);
    ASSERT_TRUE(joint);
    EXPECT_EQ(joint->next, end - start);
}

TEST(Splice, NothingButSilenceIsNotRecognised) {
    const TestPcm silence = MakeSilence(kRate, 2, 10 * kRate);
    const auto pattern = MakeSplicePattern(ViewOf(silence), silence.Frames(), kRate);
    EXPECT_FALSE(pattern.usable);
    EXPECT_FALSE(FindSureJoint(pattern, ViewOf(silence), 0));
    EXPECT_FALSE(FindJoint(pattern, ViewOf(silence), kRate, 2 * kRate));
}

// A loop is equal in many places: the clock decides, and the result is not called exact.
TEST(Splice, ALoopIsJoinedWhereTheClockHasIt) {
    const TestPcm bar = MakeMusic(7, kRate, 2, kRate);
    const TestPcm loop = Concatenate(std::vector<TestPcm>(20, bar));
    const size_t end = 10 * kRate + 1234;
    const auto pattern = MakeSplicePattern(ViewOf(loop, end), end, kRate);
    EXPECT_TRUE(pattern.repeats);
    const TestPcm beginning = Slice(loop, 5 * kRate, 9 * kRate);
    EXPECT_FALSE(FindSureJoint(pattern, ViewOf(beginning), 0));
    EXPECT_FALSE(FindJoint(pattern, ViewOf(beginning), kRate, std::nullopt));
    for (const int64_t error : {-5000, -100, 0, 2000, 9000}) {
        const int64_t truth = static_cast<int64_t>(end) - 5 * kRate;
        const auto joint = FindJoint(pattern, ViewOf(beginning), kRate, truth + error);
        ASSERT_TRUE(joint) << error;
        EXPECT_EQ(joint->next, static_cast<size_t>(truth)) << error;
        EXPECT_FALSE(joint->exact);
    }
    EXPECT_FALSE(FindJoint(pattern, ViewOf(beginning), kRate, 5 * kRate + 1234 + kRate / 2));
}

TEST(Splice, AToneGoesOnInPhaseNextToWhereTheClockHasIt) {
    const TestPcm tone = MakeTone(kRate, 2, 20 * kRate, 441);  // repeats after 100 frames
    const size_t end = 10 * kRate + 37;
    const auto pattern = MakeSplicePattern(ViewOf(tone, end), end, kRate);
    const TestPcm beginning = Slice(tone, 6 * kRate, 8 * kRate);
    const auto joint = FindJoint(pattern, ViewOf(beginning), kRate, 4 * kRate + 37 + 620);
    ASSERT_TRUE(joint);
    EXPECT_FALSE(joint->exact);
    EXPECT_NEAR(static_cast<double>(joint->next), 4.0 * kRate + 37 + 620, 51);
    EXPECT_EQ(JoinedPcm(tone, end, beginning, joint->next).Range(end - 50, end + kRate),
              tone.Range(end - 50, end + kRate));
}

// A jingle that came before, in a beginning that has nothing else of what was heard.
TEST(Splice, ARepeatedJingleIsNotTakenForTheEndOfWhatWasHeard) {
    const TestPcm jingle = MakeMusic(8, kRate, 2, 3 * kRate);
    const TestPcm history = Concatenate({MakeMusic(9, kRate, 2, 8 * kRate), jingle});
    const TestPcm beginning = Concatenate(
        {MakeMusic(10, kRate, 2, 2 * kRate), jingle, MakeMusic(12, kRate, 2, 2 * kRate)});
    const auto pattern = MakeSplicePattern(ViewOf(history), history.Frames(), kRate);
    EXPECT_FALSE(FindSureJoint(pattern, ViewOf(beginning), 0));
    EXPECT_FALSE(FindJoint(pattern, ViewOf(beginning), kRate, -60 * static_cast<int64_t>(kRate)));
    const auto joint = FindJoint(pattern, ViewOf(beginning), kRate, 5 * kRate);
    ASSERT_TRUE(joint) << "where the clock has it, what differs before it was damaged";
    EXPECT_EQ(joint->next, 5U * kRate);
}

TEST(Splice, AShortHistoryIsNotTrustedBeforeTheBeginningIsIn) {
    const TestPcm whole = MakeMusic(13, kRate, 2, 8 * kRate);
    const size_t end = 2 * kRate;
    const auto pattern = MakeSplicePattern(ViewOf(whole, end), end, kRate);
    EXPECT_FALSE(FindSureJoint(pattern, ViewOf(whole), 0));
    const auto joint = FindJoint(pattern, ViewOf(whole), kRate, std::nullopt);
    ASSERT_TRUE(joint);
    EXPECT_TRUE(joint->exact);
    EXPECT_EQ(joint->next, end);
}

TEST(Splice, AHistoryOfNearlyNothingIsNotUsed) {
    const TestPcm whole = MakeMusic(14, kRate, 2, 2 * kRate);
    for (const size_t end : {0U, 1U, 2U, 1000U}) {
        const auto pattern = MakeSplicePattern(ViewOf(whole, end), end, kRate);
        EXPECT_FALSE(pattern.usable) << end;
        EXPECT_FALSE(FindSureJoint(pattern, ViewOf(whole), 0)) << end;
        EXPECT_FALSE(FindJoint(pattern, ViewOf(whole), kRate, end)) << end;
    }
}

}  // namespace receiver
