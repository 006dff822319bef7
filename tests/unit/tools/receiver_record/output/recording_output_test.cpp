#include "receiver_record/output/recording_output.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "audio_output/audio_encoder.h"
#include "testing/temp_folder.h"
#include "unit/tools/receiver_record/complete_report.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

class RecordingOutputTest : public testing::Test {
protected:
    RecordOptions Options(bool force = false) const {
        RecordOptions options;
        options.output = file_;
        options.force = force;
        return options;
    }
    // As much audio as the report tells of.
    static void WriteAudio(RecordingOutput& output) {
        const RecordReport report = CompleteReport();
        AudioEncoder encoder(output.Format(), 44100, 2, {}, output.Sink());
        const std::vector<int16_t> pcm(report.frames * 2, 100);
        ASSERT_TRUE(encoder.Write(pcm.data(), report.frames));
        ASSERT_TRUE(encoder.Finish());
    }
    size_t FilesLeft() const {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(folder_.Path()), fs::directory_iterator()));
    }

    const TempFolder folder_;
    const std::string file_ = folder_.File("a.wav");
};

}  // namespace

TEST_F(RecordingOutputTest, APlayableRecordingGetsItsNameItsTagsAndASidecar) {
    RecordingOutput output(Options());
    WriteAudio(output);
    const auto before = fs::file_size(file_ + ".part");
    const RecordingOutput::Closing closing = output.Close(CompleteReport(), true);
    EXPECT_EQ(closing.file, file_);
    EXPECT_EQ(closing.failure, "");
    EXPECT_TRUE(closing.warnings.empty()) << testing::PrintToString(closing.warnings);
    EXPECT_GT(fs::file_size(file_), before);
    std::ifstream sidecar(file_ + ".json");
    EXPECT_EQ(nlohmann::json::parse(sidecar)["file"], file_);
    EXPECT_EQ(FilesLeft(), 2u);
}

TEST_F(RecordingOutputTest, AnEmptyRecordingLeavesNothing) {
    RecordingOutput output(Options());
    RecordReport report = CompleteReport();
    report.frames = 0;
    const RecordingOutput::Closing closing = output.Close(report, false);
    EXPECT_EQ(closing.file, "");
    EXPECT_EQ(closing.failure, "");
    EXPECT_TRUE(closing.warnings.empty());
    EXPECT_EQ(FilesLeft(), 0u);
}

TEST_F(RecordingOutputTest, WhatCannotBePlayedStaysAsThePartFile) {
    RecordingOutput output(Options());
    const RecordingOutput::Closing closing = output.Close(CompleteReport(), false);
    EXPECT_EQ(closing.file, "");
    EXPECT_EQ(closing.failure, "");
    EXPECT_EQ(closing.warnings,
              std::vector<std::string>{"What was recorded is in " + file_ + ".part"});
    EXPECT_TRUE(fs::exists(file_ + ".part"));
    EXPECT_EQ(FilesLeft(), 1u);
}

TEST_F(RecordingOutputTest, ANameThatWasTakenMeanwhileIsAFailure) {
    RecordingOutput output(Options());
    WriteAudio(output);
    std::ofstream(file_) << "precious";
    const RecordingOutput::Closing closing = output.Close(CompleteReport(), true);
    EXPECT_EQ(closing.file, "");
    EXPECT_EQ(closing.failure, file_ + " was created by another program in the meantime");
    EXPECT_TRUE(fs::exists(file_ + ".part"));
    EXPECT_EQ(fs::file_size(file_), 8u);
}

TEST_F(RecordingOutputTest, ASidecarThatCannotBeWrittenIsAWarning) {
    RecordingOutput output(Options());
    WriteAudio(output);
    fs::create_directory(file_ + ".json");
    const RecordingOutput::Closing closing = output.Close(CompleteReport(), true);
    EXPECT_EQ(closing.file, file_);
    ASSERT_EQ(closing.warnings.size(), 1u);
    EXPECT_EQ(closing.warnings[0].rfind("Cannot write " + file_ + ".json: ", 0), 0u)
        << closing.warnings[0];
}

TEST_F(RecordingOutputTest, ASidecarThatExistsIsOverwrittenOnlyByForce) {
    std::ofstream(file_ + ".json") << "precious";
    EXPECT_THROW(RecordingOutput(Options(false)), std::runtime_error);
    EXPECT_EQ(fs::file_size(file_ + ".json"), 8u);
    RecordingOutput output(Options(true));
    WriteAudio(output);
    EXPECT_TRUE(output.Close(CompleteReport(), true).warnings.empty());
    EXPECT_GT(fs::file_size(file_ + ".json"), 8u);
}

TEST_F(RecordingOutputTest, ASidecarThatAppearedMeanwhileIsNotOverwritten) {
    RecordingOutput output(Options(false));
    WriteAudio(output);
    std::ofstream(file_ + ".json") << "theirs";
    const RecordingOutput::Closing closing = output.Close(CompleteReport(), true);
    EXPECT_EQ(closing.file, file_);
    EXPECT_EQ(closing.warnings.size(), 1u);
    EXPECT_EQ(fs::file_size(file_ + ".json"), 6u);
}

// A full disk must not be filled by a copy.
TEST_F(RecordingOutputTest, AfterAFailureOfTheOutputTheTagsStayAsTheyAre) {
    RecordingOutput output(Options());
    WriteAudio(output);
    const auto before = fs::file_size(file_ + ".part");
    RecordReport report = CompleteReport();
    report.exitCode = ExitCode::kOutputError;
    EXPECT_EQ(output.Close(report, true).file, file_);
    EXPECT_EQ(fs::file_size(file_), before);
}

TEST_F(RecordingOutputTest, AFileThatExistsIsOverwrittenOnlyByForce) {
    std::ofstream(file_) << "precious";
    EXPECT_THROW(RecordingOutput(Options(false)), std::runtime_error);
    RecordingOutput output(Options(true));
    WriteAudio(output);
    EXPECT_EQ(output.Close(CompleteReport(), true).file, file_);
}

TEST_F(RecordingOutputTest, StandardOutputLeavesNoFiles) {
    RecordOptions options;
    options.output = "-";
    RecordingOutput output(options);
    EXPECT_STREQ(output.Format().muxer, "wav");
    EXPECT_FALSE(output.Sink().CanSeek());
    const RecordingOutput::Closing closing = output.Close(CompleteReport(), true);
    EXPECT_EQ(closing.file + closing.failure, "");
    EXPECT_EQ(FilesLeft(), 0u);
}

}  // namespace receiver
