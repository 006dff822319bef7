// "receiver-scan check" as people run it: what it prints, and how it exits.
#include <gtest/gtest.h>

#include "scan_run.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

class CheckTest : public testing::Test {
protected:
    CheckTest() {
        WriteWavFile(good_, MakeMusic(1, 44100, 2, 2 * 44100));
        WriteWavFile(weak_, MakeMusic(2, 44100, 2, 35000));
    }

    TempFolder folder_;
    const std::string good_ = folder_.File("good.wav");
    const std::string weak_ = folder_.File("weak.wav");
};

TEST_F(CheckTest, AGoodRecordingIsALineAndNoError) {
    const ScanRun run = RunScan({"check", good_});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output, "good          2.00 s  " + good_ + "\n");
}

TEST_F(CheckTest, AWeakRecordingIsToldWithItsReasonAndWhatToDo) {
    const ScanRun run = RunScan({"check", good_, weak_});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_NE(run.output.find("weak          0.79 s  " + weak_ + "\n    0.79 s are short"),
              std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("\n      Cut a longer piece"), std::string::npos) << run.output;
}

TEST_F(CheckTest, JsonHasAnObjectForEachRecordingAndASummary) {
    const ScanRun run = RunScan({"check", "--json", good_, weak_});
    const auto references = run.Objects("reference");
    ASSERT_EQ(references.size(), 2u);
    EXPECT_EQ(references[0].at("verdict"), "good");
    EXPECT_EQ(references[1].at("findings").at(0).at("kind"), "too-short");
    ASSERT_EQ(run.Objects("summary").size(), 1u);
    EXPECT_EQ(run.Objects("summary")[0].at("weak"), 1);
}

TEST_F(CheckTest, WhatTheProgrammeContainsIsUnfit) {
    const std::string programme = folder_.File("programme.wav");
    WriteWavFile(programme,
                 Concatenate({MakeMusic(5, 44100, 2, 3 * 44100), MakeMusic(1, 44100, 2, 2 * 44100),
                              MakeMusic(6, 44100, 2, 44100)}));
    const ScanRun run = RunScan({"check", good_, "--against", programme});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_NE(run.output.find("heard 1 times, "), std::string::npos) << run.output;
}

TEST_F(CheckTest, AMissingFileIsASourceErrorAndTheOthersAreStillChecked) {
    const ScanRun run = RunScan({"check", folder_.File("missing.wav"), good_});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.output.rfind("unreadable", 0), 0u) << run.output;
    EXPECT_NE(run.output.find("\ngood "), std::string::npos) << run.output;
}

TEST_F(CheckTest, WithoutAFileTheCommandLineIsWrong) {
    EXPECT_EQ(RunScan({"check"}).exitCode, 2);
}

TEST_F(CheckTest, ListeningWarnsOfAWeakRecordingAndGoesOn) {
    const ScanRun run = RunScan({"listen", good_, "--start", weak_});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.errors.rfind("receiver-scan: " + weak_ + " is a weak reference: 0.79 s", 0), 0u)
        << run.errors;
}

}  // namespace
}  // namespace receiver
