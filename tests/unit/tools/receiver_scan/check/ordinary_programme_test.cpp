#include "receiver_scan/check/ordinary_programme.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "receiver_scan/check/check_report.h"
#include "receiver_scan/source/opened_source.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;

class OrdinaryProgrammeTest : public testing::Test {
protected:
    OrdinaryProgrammeTest() {
        const TestPcm jingle = MakeMusic(1, kRate, 2, 2 * kRate);
        WriteWavFile(jinglePath_, jingle);
        WriteWavFile(withJingle_, Concatenate({MakeMusic(2, kRate, 2, 5 * kRate), jingle,
                                               MakeMusic(3, kRate, 2, 3 * kRate), jingle,
                                               MakeMusic(4, kRate, 2, 3 * kRate)}));
        WriteWavFile(without_, MakeMusic(5, kRate, 2, 10 * kRate));
        ReferenceMeasurement measured = MeasureReference(jinglePath_);
        references_.push_back({measured, FindingsOf(measured)});
    }

    TempFolder folder_;
    const std::string jinglePath_ = folder_.File("jingle.wav");
    const std::string withJingle_ = folder_.File("with.wav");
    const std::string without_ = folder_.File("without.wav");
    std::vector<ReferenceVerdict> references_;
};

TEST_F(OrdinaryProgrammeTest, EveryTimeThatTheReceiverWouldReportIsCounted) {
    const OrdinaryProgramme programme = ListenToProgramme({withJingle_, without_}, references_, {});
    EXPECT_EQ(programme.matches[0], 2u);
    EXPECT_LT(programme.bestBer[0], 0.05);
    EXPECT_NEAR(programme.hours, 25.0 / 3600.0, 1e-6);
    AddOrdinary(programme, references_);
    EXPECT_EQ(references_[0].Overall(), Verdict::kUnfit);
    EXPECT_NE(references_[0].findings[0].text.find("heard 2 times, 288.00 an hour"),
              std::string::npos)
        << references_[0].findings[0].text;
}

TEST_F(OrdinaryProgrammeTest, WhatIsUnlikeLeavesAReferenceGoodAndTellsTheMargin) {
    const OrdinaryProgramme programme = ListenToProgramme({without_}, references_, {});
    EXPECT_EQ(programme.matches[0], 0u);
    EXPECT_GT(programme.bestBer[0], kSafeBer);
    AddOrdinary(programme, references_);
    EXPECT_EQ(references_[0].Overall(), Verdict::kGood);
    const auto json = nlohmann::json::parse(CheckJsonLines(references_, programme).at(0));
    EXPECT_DOUBLE_EQ(json["against"]["margin"], programme.bestBer[0] - kBerThreshold);
}

TEST_F(OrdinaryProgrammeTest, ASourceThatCannotBeOpenedIsAnError) {
    EXPECT_THROW(ListenToProgramme({folder_.File("missing.wav")}, references_, {}), SourceError);
}

TEST_F(OrdinaryProgrammeTest, TheListeningIsInterrupted) {
    EXPECT_THROW(ListenToProgramme({without_}, references_, {}, [] { return true; }), Interrupted);
}

TEST_F(OrdinaryProgrammeTest, TheSummaryCountsTheVerdicts) {
    references_.push_back({{}, {}});
    references_[1].measured.failure = "Reference Open failed";
    const std::vector<std::string> lines = CheckJsonLines(references_, {});
    ASSERT_EQ(lines.size(), 3u);
    const auto summary = nlohmann::json::parse(lines[2]);
    EXPECT_EQ(summary["good"], 1);
    EXPECT_EQ(summary["unreadable"], 1);
    EXPECT_EQ(nlohmann::json::parse(lines[1])["error"], "Reference Open failed");
}

}  // namespace
}  // namespace receiver
