// What is said of a recording that was nearly heard, on sound that was made so.
#include "receiver_scan/listen/near_misses.h"

#include <gtest/gtest.h>

#include "receiver_scan/listen/matches.h"
#include "receiver_scan/source/opened_source.h"
#include "testing/sound_effects.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;
constexpr size_t kAt = 10 * kRate + 123;  // where the jingle is broadcast
constexpr size_t kJingleFrames = 3 * kRate;

class NearMissesTest : public testing::Test {
protected:
    static const TestPcm& Jingle() {
        static const TestPcm jingle = MakeTune(7, kRate, 1, kJingleFrames);
        return jingle;
    }

    // Listens to a broadcast with this in place of the jingle.
    void Broadcast(const TestPcm& onAir) {
        static const TestPcm programme = MakeTune(99, kRate, 1, 30 * kRate);
        TestPcm pcm = programme;
        std::copy(onAir.samples.begin(), onAir.samples.end(), pcm.samples.begin() + kAt);
        WriteWavFile(folder_.File("onair.wav"), pcm);
        WriteWavFile(folder_.File("jingle.wav"), Jingle());
        const std::vector<ScanReference> references =
            LoadScanReferences({folder_.File("jingle.wav")}, {}, {});
        const OpenedSource source = OpenSource(folder_.File("onair.wav"));
        heard_ = Hear(*source.file);
        std::vector<size_t> heardAt;
        for (const DetectorMatch& match : FindMatches(heard_, references)) {
            heardAt.push_back(WordAtFrame(heard_, match.sample));
        }
        matches_ = heardAt.size();
        view_ = ViewReference(heard_, references[0], heardAt, 5);
    }
    // The one near miss, which lies where the jingle is.
    MissCause CauseOfMiss() {
        EXPECT_EQ(matches_, 0u);
        if (view_.misses.size() != 1) {
            ADD_FAILURE() << view_.misses.size() << " near misses";
            return {};
        }
        EXPECT_NEAR(static_cast<double>(view_.misses[0].sample), kAt, 0.1 * kRate);
        return view_.misses[0].cause;
    }

    const TempFolder folder_;
    HeardAudio heard_;
    size_t matches_ = 0;
    ReferenceView view_;
};

}  // namespace

TEST_F(NearMissesTest, WhatWasHeardIsNoNearMiss) {
    Broadcast(Jingle());
    EXPECT_EQ(matches_, 1u);
    EXPECT_TRUE(view_.misses.empty());
    ASSERT_TRUE(view_.best);
    EXPECT_LT(view_.best->ber, 0.05);
    EXPECT_FLOAT_EQ(view_.curve[view_.best->offset], static_cast<float>(view_.best->ber));
}

TEST_F(NearMissesTest, WithoutTheJingleThereIsNone) {
    Broadcast(MakeTune(55, kRate, 1, kJingleFrames));
    EXPECT_EQ(matches_, 0u);
    EXPECT_TRUE(view_.misses.empty());
    ASSERT_TRUE(view_.best);
    EXPECT_GT(view_.best->ber, kNearBer);
}

TEST_F(NearMissesTest, AVoiceOverAllOfItSpreadsItsErrors) {
    Broadcast(MixedAt(Jingle(), MakeVoice(3, kRate, 1, kJingleFrames), 0, 0));
    EXPECT_EQ(CauseOfMiss().kind, CauseKind::kOverlaid);
}

TEST_F(NearMissesTest, MusicOverAllOfItSpreadsItsErrors) {
    Broadcast(MixedAt(Jingle(), MakeTune(4, kRate, 1, kJingleFrames), 0, -2));
    EXPECT_EQ(CauseOfMiss().kind, CauseKind::kOverlaid);
}

TEST_F(NearMissesTest, AVoiceOverItsSecondHalfIsFoundThere) {
    Broadcast(MixedAt(Jingle(), MakeVoice(3, kRate, 1, kJingleFrames), kJingleFrames / 2, 8));
    const MissCause cause = CauseOfMiss();
    EXPECT_EQ(cause.kind, CauseKind::kOverlaidPart);
    EXPECT_NEAR(cause.fromSeconds, 1.5, 0.3);
    EXPECT_NEAR(cause.toSeconds, 3.0, 0.2);
    EXPECT_TRUE(cause.atEnd);
}

TEST_F(NearMissesTest, ABeginningThatIsCutOffIsFoundByItsLength) {
    const size_t cut = kRate;
    Broadcast(
        Concatenate({MakeTune(70, kRate, 1, cut), Slice(Jingle(), cut, kJingleFrames - cut)}));
    const MissCause cause = CauseOfMiss();
    EXPECT_EQ(cause.kind, CauseKind::kOtherPart);
    EXPECT_TRUE(cause.atBeginning);
    EXPECT_EQ(cause.fromSeconds, 0.0);
    EXPECT_NEAR(cause.toSeconds, 1.0, 0.2);
}

TEST_F(NearMissesTest, AnEndThatIsCutOffIsFoundByItsPlace) {
    Broadcast(Slice(Jingle(), 0, 18 * kRate / 10));
    const MissCause cause = CauseOfMiss();
    EXPECT_EQ(cause.kind, CauseKind::kOtherPart);
    EXPECT_TRUE(cause.atEnd);
    EXPECT_NEAR(cause.fromSeconds, 1.8, 0.2);
    EXPECT_NEAR(cause.toSeconds, 3.0, 0.05);
}

TEST_F(NearMissesTest, AnotherMiddleIsAnotherVersion) {
    Broadcast(Concatenate({Slice(Jingle(), 0, kRate), MakeTune(71, kRate, 1, kRate),
                           Slice(Jingle(), 2 * kRate, kRate)}));
    const MissCause cause = CauseOfMiss();
    EXPECT_EQ(cause.kind, CauseKind::kOtherPart);
    EXPECT_FALSE(cause.atBeginning || cause.atEnd);
    EXPECT_NEAR(cause.fromSeconds, 1.0, 0.2);
    EXPECT_NEAR(cause.toSeconds, 2.0, 0.2);
}

TEST_F(NearMissesTest, AnotherSpeedIsToldInPerCent) {
    for (const double percent : {-2.0, 1.5, 2.5}) {
        SCOPED_TRACE(percent);
        Broadcast(AtSpeed(Jingle(), 1.0 + percent / 100.0));
        const MissCause cause = CauseOfMiss();
        EXPECT_EQ(cause.kind, CauseKind::kOtherSpeed);
        EXPECT_NEAR(cause.speedPercent, percent, 0.3);
        EXPECT_LT(cause.speedBer, kBerThreshold);
    }
}

TEST_F(NearMissesTest, AnotherSpeedIsFoundWhereNothingElseIsSeen) {
    for (const double percent : {-5.0, 5.0}) {
        SCOPED_TRACE(percent);
        Broadcast(AtSpeed(Jingle(), 1.0 + percent / 100.0));
        EXPECT_GT(view_.best->ber, kNearBer);
        const MissCause cause = CauseOfMiss();
        EXPECT_EQ(cause.kind, CauseKind::kOtherSpeed);
        EXPECT_NEAR(cause.speedPercent, percent, 0.3);
    }
}

TEST_F(NearMissesTest, ALowPassIsSeenInTheUpperBands) {
    // The line that cuts them off also has a noise of its own.
    const TestPcm noise = Amplified(MakeNoise(5, kRate, 1, kJingleFrames), -22);
    Broadcast(MixedAt(LowPassed(Jingle(), 1000), noise, 0));
    const MissCause cause = CauseOfMiss();
    EXPECT_EQ(cause.kind, CauseKind::kUpperBands);
    EXPECT_GT(cause.hz, 900);
    EXPECT_LT(cause.hz, 1700);
}

TEST_F(NearMissesTest, AHighPassIsSeenInTheLowerBands) {
    const TestPcm noise = Amplified(MakeNoise(5, kRate, 1, kJingleFrames), -22);
    Broadcast(MixedAt(HighPassed(Jingle(), 900), noise, 0));
    const MissCause cause = CauseOfMiss();
    EXPECT_EQ(cause.kind, CauseKind::kLowerBands);
    EXPECT_GT(cause.hz, 500);
    EXPECT_LT(cause.hz, 1100);
}

TEST_F(NearMissesTest, MissesLieTheRecordingsLengthApartAndTheNearestComesFirst) {
    const TestPcm over = MixedAt(Jingle(), MakeVoice(3, kRate, 1, kJingleFrames), 0, 0);
    const TestPcm more = MixedAt(Jingle(), MakeVoice(3, kRate, 1, kJingleFrames), 0, 3);
    Broadcast(Concatenate({more, MakeTune(1, kRate, 1, 2 * kRate), over}));
    ASSERT_EQ(view_.misses.size(), 2u);
    EXPECT_LT(view_.misses[0].ber, view_.misses[1].ber);
    EXPECT_NEAR(static_cast<double>(view_.misses[0].sample), kAt + 5 * kRate, 0.1 * kRate);
    EXPECT_NEAR(static_cast<double>(view_.misses[1].sample), kAt, 0.1 * kRate);
}

TEST(GuessCause, ARateThatTheSourceReachesAnywhereIsChance) {
    BitErrors errors;
    errors.ofWord.assign(100, 10);  // of 32, alike in all words
    errors.ofBit.fill(31);
    EXPECT_EQ(GuessCause(errors, true).kind, CauseKind::kChance);
    EXPECT_EQ(GuessCause(errors, false).kind, CauseKind::kOverlaid);
}

TEST(NearMisses, AShortRecordingComesNearByChanceInALongSource) {
    // Half a second tells so little that half a minute of other music has something like it.
    const TempFolder folder;
    WriteWavFile(folder.File("a.wav"), MakeTune(1, kRate, 1, 30 * kRate));
    WriteWavFile(folder.File("short.wav"), MakeTune(2, kRate, 1, 6 * kRate / 10));
    const OpenedSource source = OpenSource(folder.File("a.wav"));
    const HeardAudio heard = Hear(*source.file);
    const ScanReference reference = LoadScanReferences({folder.File("short.wav")}, {}, {})[0];
    const ReferenceView view = ViewReference(heard, reference, {}, 5);
    ASSERT_FALSE(view.misses.empty());
    for (const NearMiss& miss : view.misses) {
        EXPECT_EQ(miss.cause.kind, CauseKind::kChance) << miss.ber << Describe(miss.cause);
    }
}

}  // namespace receiver
