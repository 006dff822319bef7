#include "receiver_scan/check/reference_findings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "receiver_scan/check/quick_check.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"
#include "wire/messages.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;

TestPcm Music(uint64_t seed, double seconds) {
    return MakeMusic(seed, kRate, 2, static_cast<size_t>(seconds * kRate));
}

TestPcm Silence(double seconds) {
    return MakeSilence(kRate, 2, static_cast<size_t>(seconds * kRate));
}

void Amplify(TestPcm& pcm, double factor) {
    for (int16_t& sample : pcm.samples) {
        sample = static_cast<int16_t>(std::clamp(sample * factor, -32768.0, 32767.0));
    }
}

class ReferenceFindingsTest : public testing::Test {
protected:
    std::string Write(const TestPcm& pcm, const std::string& name = "reference.wav") {
        const std::string path = folder_.File(name);
        WriteWavFile(path, pcm);
        return path;
    }
    ReferenceVerdict Check(const TestPcm& pcm, const std::string& name = "reference.wav") {
        ReferenceMeasurement measured = MeasureReference(Write(pcm, name));
        std::vector<Finding> findings = FindingsOf(measured);
        return {std::move(measured), std::move(findings)};
    }
    static std::optional<Finding> Find(const ReferenceVerdict& verdict, FindingKind kind) {
        for (const Finding& finding : verdict.findings) {
            if (finding.kind == kind) return finding;
        }
        return {};
    }
    // Whether that, and nothing else, was found, and how grave it is.
    static void ExpectOnly(const ReferenceVerdict& verdict, FindingKind kind, Verdict grave) {
        ASSERT_EQ(verdict.findings.size(), 1u) << verdict.findings.back().text;
        EXPECT_EQ(verdict.findings[0].kind, kind) << verdict.findings[0].text;
        EXPECT_EQ(verdict.Overall(), grave) << verdict.findings[0].text;
        EXPECT_FALSE(verdict.findings[0].advice.empty());
    }

    TempFolder folder_;
};

TEST_F(ReferenceFindingsTest, TwoSecondsOfMusicAreGood) {
    const ReferenceVerdict verdict = Check(Music(1, 2.0));
    EXPECT_TRUE(verdict.findings.empty()) << verdict.findings[0].text;
    EXPECT_EQ(verdict.Overall(), Verdict::kGood);
}

TEST_F(ReferenceFindingsTest, WhatTheReceiverRefusesAsTooShortIsUnfit) {
    ExpectOnly(Check(Music(1, 0.5)), FindingKind::kTooShort, Verdict::kUnfit);
}

TEST_F(ReferenceFindingsTest, LessThanASecondIsWeak) {
    const std::optional<Finding> finding = Find(Check(Music(1, 0.8)), FindingKind::kTooShort);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->verdict, Verdict::kWeak);
    EXPECT_NEAR(finding->value, 0.8, 0.01);
}

TEST_F(ReferenceFindingsTest, SilenceAloneIsUnfit) {
    EXPECT_EQ(Check(Silence(2.0)).Overall(), Verdict::kUnfit);
}

TEST_F(ReferenceFindingsTest, AShortSoundInSilenceIsUnfitBecauseSilenceMatches) {
    const ReferenceVerdict verdict = Check(Concatenate({Music(1, 0.5), Silence(5.0)}));
    const std::optional<Finding> finding = Find(verdict, FindingKind::kSilence);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->verdict, Verdict::kUnfit) << finding->text;
}

TEST_F(ReferenceFindingsTest, APauseWithinIsWeak) {
    ExpectOnly(Check(Concatenate({Music(1, 2.0), Silence(0.5), Music(2, 2.0)})),
               FindingKind::kSilence, Verdict::kWeak);
}

TEST_F(ReferenceFindingsTest, SilenceBeforeTheSoundMakesTheStartEarly) {
    const ReferenceVerdict verdict = Check(Concatenate({Silence(0.6), Music(1, 3.0)}));
    const std::optional<Finding> finding = Find(verdict, FindingKind::kLateStart);
    ASSERT_TRUE(finding);
    EXPECT_NEAR(finding->value, 0.6, 0.03);
    EXPECT_NE(finding->text.find("begins with silence"), std::string::npos) << finding->text;
}

TEST_F(ReferenceFindingsTest, AFadeMakesTheStartEarly) {
    TestPcm pcm = Music(1, 4.0);
    for (size_t frame = 0; frame < 2 * kRate; ++frame) {
        const double gain = std::pow(10.0, -3.0 * (1.0 - static_cast<double>(frame) / (2 * kRate)));
        for (size_t channel = 0; channel < 2; ++channel) {
            int16_t& sample = pcm.samples[frame * 2 + channel];
            sample = static_cast<int16_t>(sample * gain);
        }
    }
    const std::optional<Finding> finding = Find(Check(pcm), FindingKind::kLateStart);
    ASSERT_TRUE(finding);
    EXPECT_NE(finding->text.find("fades in"), std::string::npos) << finding->text;
    EXPECT_GT(finding->value, 0.5);
}

TEST_F(ReferenceFindingsTest, ALoopIsUnfitBecauseItMatchesEarly) {
    const TestPcm turn = Music(1, 0.75);
    const std::optional<Finding> finding =
        Find(Check(Concatenate({turn, turn, turn, turn, turn})), FindingKind::kRepeats);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->verdict, Verdict::kUnfit);
    EXPECT_NE(finding->text.find("0.75 s later"), std::string::npos) << finding->text;
}

TEST_F(ReferenceFindingsTest, AHeldToneHardlyChangesAndIsUnfit) {
    const std::optional<Finding> finding =
        Find(Check(MakeTone(kRate, 2, 3 * kRate, 1000.0)), FindingKind::kUnsteady);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->verdict, Verdict::kUnfit);
}

TEST_F(ReferenceFindingsTest, ChannelsThatCancelInTheMixAreUnfit) {
    TestPcm pcm = MakeMusic(1, kRate, 1, 2 * kRate);
    TestPcm stereo{kRate, 2, {}};
    for (const int16_t sample : pcm.samples) {
        stereo.samples.push_back(sample);
        stereo.samples.push_back(static_cast<int16_t>(-sample * 15 / 16));
    }
    const std::optional<Finding> finding = Find(Check(stereo), FindingKind::kMonoLoss);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->verdict, Verdict::kUnfit);
    EXPECT_NEAR(finding->value, 30.0, 1.0);
}

TEST_F(ReferenceFindingsTest, UnrelatedChannelsLoseNothingWorthMentioning) {
    EXPECT_FALSE(Find(Check(MakeNoise(1, kRate, 2, 2 * kRate)), FindingKind::kMonoLoss));
}

TEST_F(ReferenceFindingsTest, ClippingIsWeak) {
    TestPcm pcm = Music(1, 2.0);
    Amplify(pcm, 8.0);
    const std::optional<Finding> finding = Find(Check(pcm), FindingKind::kClipping);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->verdict, Verdict::kWeak);
}

TEST_F(ReferenceFindingsTest, AVeryLowLevelIsWeak) {
    TestPcm pcm = Music(1, 2.0);
    Amplify(pcm, 0.01);
    const std::optional<Finding> finding = Find(Check(pcm), FindingKind::kLevel);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->verdict, Verdict::kWeak) << finding->value;
}

TEST_F(ReferenceFindingsTest, OneContainedInAnotherMakesBothUnfit) {
    const TestPcm jingle = Music(1, 1.5);
    std::vector<ReferenceVerdict> references = {
        Check(Concatenate({Music(2, 2.0), jingle, Music(3, 1.0)}), "long.wav"),
        Check(jingle, "short.wav")};
    AddLookAlikes(references);
    const std::optional<Finding> ofShort = Find(references[1], FindingKind::kLookAlike);
    ASSERT_TRUE(ofShort);
    EXPECT_EQ(ofShort->verdict, Verdict::kUnfit);
    EXPECT_NE(ofShort->text.find("occurs in long.wav at 2.0"), std::string::npos) << ofShort->text;
    const std::optional<Finding> ofLong = Find(references[0], FindingKind::kLookAlike);
    ASSERT_TRUE(ofLong);
    EXPECT_NE(ofLong->text.find("contains short.wav"), std::string::npos) << ofLong->text;
}

TEST_F(ReferenceFindingsTest, UnlikeReferencesAreNotConfused) {
    std::vector<ReferenceVerdict> references = {Check(Music(1, 2.0), "a.wav"),
                                                Check(Music(2, 2.0), "b.wav")};
    AddLookAlikes(references);
    EXPECT_EQ(references[0].Overall(), Verdict::kGood);
    EXPECT_EQ(references[1].Overall(), Verdict::kGood);
}

TEST_F(ReferenceFindingsTest, WhatIsNoAudioIsUnreadable) {
    const std::string path = folder_.File("text.wav");
    WriteFileBytes(path, "no audio at all");
    const ReferenceVerdict verdict{MeasureReference(path), {}};
    EXPECT_EQ(verdict.Overall(), Verdict::kUnreadable);
    EXPECT_FALSE(verdict.measured.failure.empty());
}

TEST_F(ReferenceFindingsTest, MeasuringStopsWhenAskedTo) {
    const std::string path = Write(Music(1, 3.0));
    int asked = 0;
    int stopAfter = 1'000'000;
    const auto measure = [&] {
        asked = 0;
        return MeasureReference(path, {}, [&] { return ++asked > stopAfter; }).failure;
    };
    EXPECT_EQ(measure(), "");
    const int steps = asked;
    // In the first of its readings, in the second and in the last.
    for (const int after : {1, steps / 2, steps - 1}) {
        stopAfter = after;
        EXPECT_EQ(measure(), kFinishedCancelledLoading) << after;
        EXPECT_EQ(asked, after + 1);
    }
}

TEST_F(ReferenceFindingsTest, TheGravestFindingComesFirst) {
    const ReferenceVerdict verdict = Check(Concatenate({Music(1, 0.5), Silence(5.0)}));
    ASSERT_GT(verdict.findings.size(), 0u);
    EXPECT_EQ(verdict.findings.front().verdict, Verdict::kUnfit);
}

TEST_F(ReferenceFindingsTest, AQuickCheckSaysOneLineOfEachThatIsNotGood) {
    const std::string good = Write(Music(1, 2.0), "good.wav");
    const std::string weak = Write(Music(2, 0.8), "weak.wav");
    const std::vector<std::string> warnings =
        ReferenceWarnings({good, weak, folder_.File("missing.wav")});
    ASSERT_EQ(warnings.size(), 1u) << warnings[0];
    EXPECT_NE(warnings[0].find("weak.wav is a weak reference: 0.80 s are short"), std::string::npos)
        << warnings[0];
}

TEST_F(ReferenceFindingsTest, AQuickCheckDoesNotHoldAFileAgainstItself) {
    const std::string file = Write(Music(1, 2.0));
    EXPECT_TRUE(ReferenceWarnings({file, file}).empty());
}

}  // namespace
}  // namespace receiver
