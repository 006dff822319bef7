// "receiver-scan discover" as people run it: what it finds, writes, and how it exits.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "scan_run.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;

TestPcm Music(uint64_t seed, double seconds) {
    return MakeMusic(seed, kRate, 2, static_cast<size_t>(seconds * kRate));
}

class DiscoverTest : public testing::Test {
protected:
    DiscoverTest() {
        const TestPcm jingle = Music(1, 3.0);
        WriteWavFile(monday_,
                     Concatenate({Music(2, 10.0), jingle, Music(3, 20.0), jingle, Music(4, 5.0)}));
        WriteWavFile(tuesday_, Concatenate({Music(5, 8.0), jingle, Music(6, 4.0)}));
        WriteWavFile(nothing_, Music(7, 20.0));
    }

    TempFolder folder_;
    const std::string monday_ = folder_.File("monday.wav");
    const std::string tuesday_ = folder_.File("tuesday.wav");
    const std::string nothing_ = folder_.File("nothing.wav");
};

TEST_F(DiscoverTest, TheJingleIsFoundInAllRecordingsWithItsTimesAndLength) {
    const ScanRun run = RunScan({"discover", "--json", monday_, tuesday_});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    const auto found = run.Objects("found");
    ASSERT_EQ(found.size(), 1u) << run.output;
    // With few playings an edge may be wrong by part of a frame, which is 0.37 s long.
    EXPECT_NEAR(found[0].at("seconds").get<double>(), 3.0, 0.25);
    const auto& times = found[0].at("times");
    ASSERT_EQ(times.size(), 3u);
    EXPECT_NEAR(times[0].at("start").get<double>(), 10.0, 0.1);
    EXPECT_NEAR(times[1].at("start").get<double>(), 33.0, 0.1);
    EXPECT_NEAR(times[2].at("start").get<double>(), 8.0, 0.1);
    EXPECT_EQ(times[2].at("source"), tuesday_);
}

TEST_F(DiscoverTest, WhatIsExportedIsAReferenceThatTheStationIsFoundBy) {
    const std::string folder = folder_.File("jingles");
    ASSERT_EQ(RunScan({"discover", monday_, "--export", folder}).exitCode, 0);
    const std::string jingle = (std::filesystem::path(folder) / "jingle-01.wav").string();
    ASSERT_TRUE(std::filesystem::exists(jingle));
    const ScanRun heard = RunScan({"listen", tuesday_, "--start", jingle, "--json"});
    EXPECT_EQ(heard.exitCode, 0) << heard.output << heard.errors;
}

TEST_F(DiscoverTest, AnExportedFileIsReplacedOnlyWhenAskedFor) {
    const std::string folder = folder_.File("jingles");
    ASSERT_EQ(RunScan({"discover", monday_, "--export", folder}).exitCode, 0);
    EXPECT_EQ(RunScan({"discover", monday_, "--export", folder}).exitCode, 6);
    EXPECT_EQ(RunScan({"discover", monday_, "--export", folder, "--force"}).exitCode, 0);
}

TEST_F(DiscoverTest, ThePageShowsWhatWasFound) {
    const std::string page = folder_.File("monday.html");
    ASSERT_EQ(RunScan({"discover", monday_, "--report", page}).exitCode, 0);
    std::ifstream file(page, std::ios::binary);
    const std::string html{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(html.rfind("<!DOCTYPE html>", 0), 0u);
    EXPECT_NE(html.find("jingle-01"), std::string::npos);
}

TEST_F(DiscoverTest, WhereNothingIsHeardAgainNothingIsFound) {
    const ScanRun run = RunScan({"discover", nothing_});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.output, "0 found in 0.01 hours\n");
}

TEST_F(DiscoverTest, MistakesAndUnreadableSourcesHaveTheirExitCodes) {
    EXPECT_EQ(RunScan({"discover"}).exitCode, 2);
    EXPECT_EQ(RunScan({"discover", monday_, "--shortest", "1ms"}).exitCode, 2);
    EXPECT_EQ(RunScan({"discover", monday_, "--report", "page.txt"}).exitCode, 2);
    EXPECT_EQ(RunScan({"discover", "http://radio.example/live"}).exitCode, 2);
    EXPECT_EQ(RunScan({"discover", folder_.File("missing.wav")}).exitCode, 4);
}

}  // namespace
}  // namespace receiver
