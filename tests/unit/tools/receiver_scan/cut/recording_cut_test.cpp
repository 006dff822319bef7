#include "receiver_scan/cut/recording_cut.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "receiver_scan/cut/quietest_sample.h"
#include "testing/audio_encoder.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

// All of a recording, at its own rate and width.
std::vector<std::byte> BytesOf(const std::string& path, uint64_t from, uint64_t to) {
    RecordingReader reader(path);
    reader.SkipTo(from);
    std::vector<std::byte> all;
    std::vector<std::byte> pcm;
    while (reader.Position() < to) {
        const size_t frames = reader.Read(pcm, static_cast<size_t>(to - reader.Position()));
        if (frames == 0) break;
        all.insert(all.end(), pcm.begin(),
                   pcm.begin() + static_cast<std::ptrdiff_t>(frames * reader.FrameBytes()));
    }
    return all;
}

class RecordingCutTest : public testing::Test {
protected:
    const TestPcm music_ = MakeMusic(1, 48000, 2, 100000);
    TempFolder folder_;
};

class RecordingCutOfWidthTest : public RecordingCutTest, public testing::WithParamInterface<int> {};

TEST_P(RecordingCutOfWidthTest, EverySampleIsThatOfTheSource) {
    const std::string source = folder_.File("source.wav");
    WriteWavFile(source, music_, GetParam());
    const int kept = std::max(16, GetParam());
    for (const char* name : {"cut.wav", "cut.flac"}) {
        if (kept == 32 && std::string(name) == "cut.flac") continue;
        const std::string output = folder_.File(name);
        const CutResult result = WriteCut(source, {12345, 67891, output}, false);
        EXPECT_EQ(result.sampleRate, 48000u);
        EXPECT_EQ(result.bits, kept);
        const std::vector<std::byte> wanted = BytesOf(source, 12345, 67891);
        ASSERT_EQ(wanted.size(), (67891u - 12345u) * 2 * (kept == 16 ? 2 : 4));
        EXPECT_EQ(BytesOf(output, 0, 1000000), wanted) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, RecordingCutOfWidthTest, testing::Values(8, 16, 24, 32));

TEST_F(RecordingCutTest, TheTestAudioItselfComesOut) {
    const std::string source = folder_.File("source.wav");
    const std::string output = folder_.File("cut.wav");
    WriteWavFile(source, music_);
    WriteCut(source, {100, 1100, output}, false);
    const std::vector<int16_t> wanted = music_.Range(100, 1100);
    const std::vector<std::byte> got = BytesOf(output, 0, 100000);
    ASSERT_EQ(got.size(), wanted.size() * sizeof(int16_t));
    EXPECT_EQ(std::memcmp(got.data(), wanted.data(), got.size()), 0);
}

TEST_F(RecordingCutTest, ACodingWithLossIsCutWhereItIsDecoded) {
    if (!CanEncode(AudioCoding::kMp3)) GTEST_SKIP() << "no MP3 encoder";
    const std::string source = folder_.File("source.mp3");
    WriteFileBytes(source, EncodeAudio(music_, AudioCoding::kMp3));
    const std::string output = folder_.File("cut.wav");
    WriteCut(source, {30000, 50000, output}, false);
    EXPECT_EQ(BytesOf(output, 0, 100000), BytesOf(source, 30000, 50000));
}

TEST_F(RecordingCutTest, ThirtyTwoBitsAreRefusedForFlac) {
    const std::string source = folder_.File("source.wav");
    WriteWavFile(source, music_, 32);
    EXPECT_THROW(WriteCut(source, {0, 1000, folder_.File("cut.flac")}, false),
                 std::invalid_argument);
}

TEST_F(RecordingCutTest, StretchesThatOverlapAreWrittenInOneReading) {
    const std::string source = folder_.File("source.wav");
    WriteWavFile(source, music_);
    const std::string later = folder_.File("later.wav");
    const std::string earlier = folder_.File("earlier.wav");
    const std::vector<CutResult> results =
        WriteCuts(source, {{20000, 60000, later}, {1000, 30000, earlier}}, false);
    EXPECT_EQ(results[0].from, 20000u);
    EXPECT_EQ(results[1].to, 30000u);
    EXPECT_EQ(BytesOf(later, 0, 100000), BytesOf(source, 20000, 60000));
    EXPECT_EQ(BytesOf(earlier, 0, 100000), BytesOf(source, 1000, 30000));
}

TEST_F(RecordingCutTest, AnExistingFileIsReplacedOnlyWhenAskedFor) {
    const std::string source = folder_.File("source.wav");
    WriteWavFile(source, music_);
    const std::string output = folder_.File("cut.wav");
    WriteCut(source, {0, 1000, output}, false);
    EXPECT_THROW(WriteCut(source, {0, 2000, output}, false), std::runtime_error);
    EXPECT_EQ(BytesOf(output, 0, 100000).size(), 4000u);
    WriteCut(source, {0, 2000, output}, true);
    EXPECT_EQ(BytesOf(output, 0, 100000).size(), 8000u);
}

TEST_F(RecordingCutTest, AStretchBehindTheEndLeavesNoFile) {
    const std::string source = folder_.File("source.wav");
    WriteWavFile(source, music_);
    EXPECT_THROW(WriteCut(source, {200000, 300000, folder_.File("cut.wav")}, false),
                 CutSourceError);
    size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
        ++files;
    }
    EXPECT_EQ(files, 1u);
}

TEST_F(RecordingCutTest, TheEndOfTheRecordingEndsTheStretch) {
    const std::string source = folder_.File("source.wav");
    WriteWavFile(source, music_);
    EXPECT_EQ(WriteCut(source, {90000, 300000, folder_.File("cut.wav")}, false).to, 100000u);
}

TEST_F(RecordingCutTest, WhatIsNoAudioIsASourceError) {
    const std::string source = folder_.File("text.wav");
    WriteFileBytes(source, "no audio");
    EXPECT_THROW(RecordingReader reader(source), CutSourceError);
}

TEST_F(RecordingCutTest, AnInterruptedCutLeavesNothingHalfWritten) {
    const std::string source = folder_.File("source.wav");
    WriteWavFile(source, music_);
    // Asked before each read: the first cut is whole by then, the second has begun.
    int asked = 0;
    const StopRequested stop = [&] { return ++asked > 5; };
    EXPECT_THROW(
        WriteCuts(source,
                  {{0, 10000, folder_.File("whole.wav")}, {20000, 90000, folder_.File("half.wav")}},
                  false, stop),
        Interrupted);
    EXPECT_EQ(BytesOf(folder_.File("whole.wav"), 0, 1000000).size(), 10000u * 4);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
        names.push_back(entry.path().filename().string());
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("source.wav", "whole.wav"));
}

TEST_F(RecordingCutTest, SnappingIsInterrupted) {
    const std::string source = folder_.File("source.wav");
    WriteWavFile(source, music_);
    EXPECT_THROW(SnapToQuiet(source, {22000, 47000, ""}, [] { return true; }), Interrupted);
}

TEST_F(RecordingCutTest, SnappingMovesBothEndsIntoThePauses) {
    const std::string source = folder_.File("source.wav");
    const TestPcm pause = MakeSilence(48000, 2, 480);
    // Pauses from 20000 and from 50480 on.
    WriteWavFile(source, Concatenate({Slice(music_, 0, 20000), pause, Slice(music_, 20000, 30000),
                                      pause, Slice(music_, 50000, 40000)}));
    const Cut snapped = SnapToQuiet(source, {22000, 47000, ""});
    EXPECT_GE(snapped.from, 20000u);
    EXPECT_LT(snapped.from, 20480u);
    EXPECT_GE(snapped.to, 50480u);
    EXPECT_LT(snapped.to, 50960u);
}

TEST(QuietestSample, OfEquallyQuietOnesItIsTheNearest) {
    EXPECT_EQ(QuietestSample({5, 5, 5, 5, 5}, 3, 1), 3u);
    EXPECT_EQ(QuietestSample({9, 0, 9, 9, 9, 0, 9}, 5, 1), 5u);
    EXPECT_EQ(QuietestSample({9, 0, 9, 9, 9, 0, 9}, 1, 1), 1u);
    EXPECT_EQ(QuietestSample({}, 0, 1), 0u);
}

}  // namespace
}  // namespace receiver
