#include "audio_output/part_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

std::string ReadBack(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class PartFileTest : public testing::Test {
protected:
    TempFolder folder_;
    const fs::path target_ = folder_.Path() / "a.wav";
    const fs::path part_ = folder_.Path() / "a.wav.part";
};

}  // namespace

TEST_F(PartFileTest, AMissingFolderIsNamed) {
    try {
        PartFile(folder_.Path() / "none" / "a.wav", true);
        FAIL() << "created";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("No such folder"), std::string::npos);
    }
}

TEST_F(PartFileTest, TheTargetAppearsOnlyWithCommit) {
    PartFile file(target_, false);
    ASSERT_TRUE(file.WriteAt(0, "hello", 5));
    EXPECT_FALSE(fs::exists(target_));
    EXPECT_TRUE(fs::exists(part_));
    ASSERT_TRUE(file.Commit()) << file.FailureText();
    EXPECT_EQ(ReadBack(target_), "hello");
    EXPECT_FALSE(fs::exists(part_));
}

TEST_F(PartFileTest, BytesGoWhereTheyBelongAndTheRestIsCutOff) {
    PartFile file(target_, false);
    ASSERT_TRUE(file.WriteAt(0, "abcdef", 6));
    ASSERT_TRUE(file.WriteAt(2, "XY", 2));
    ASSERT_TRUE(file.Truncate(5));
    ASSERT_TRUE(file.Commit());
    EXPECT_EQ(ReadBack(target_), "abXYe");
}

TEST_F(PartFileTest, WhatIsNeitherCommittedNorDiscardedStays) {
    {
        PartFile file(target_, false);
        ASSERT_TRUE(file.WriteAt(0, "x", 1));
    }
    EXPECT_EQ(ReadBack(part_), "x");
}

TEST_F(PartFileTest, DiscardLeavesNothing) {
    PartFile file(target_, false);
    file.Discard();
    EXPECT_TRUE(fs::is_empty(folder_.Path()));
}

TEST_F(PartFileTest, WithoutOverwriteAnExistingFileIsRefused) {
    WriteFileBytes(target_.string(), "old");
    EXPECT_THROW(PartFile(target_, false), std::runtime_error);
    EXPECT_EQ(ReadBack(target_), "old");
}

TEST_F(PartFileTest, AnEarlierPartFileIsKeptAside) {
    for (const char* name : {"a.wav.part.1", "a.wav.part.2"}) {
        WriteFileBytes(part_.string(), name);
        PartFile file(target_, false);
        EXPECT_EQ(file.KeptAside(), folder_.Path() / name);
        EXPECT_EQ(ReadBack(file.KeptAside()), name);
        ASSERT_TRUE(file.WriteAt(0, "new", 3));
    }
    EXPECT_EQ(ReadBack(part_), "new");
}

TEST_F(PartFileTest, APartFileThatIsBeingWrittenIsNotKeptAside) {
    PartFile first(target_, false);
    EXPECT_TRUE(first.KeptAside().empty());
    ASSERT_TRUE(first.WriteAt(0, "first", 5));
    EXPECT_THROW(PartFile(target_, false), std::runtime_error);
    ASSERT_TRUE(first.Commit()) << first.FailureText();
    EXPECT_EQ(ReadBack(target_), "first");
}

TEST_F(PartFileTest, OverwriteReplacesBoth) {
    WriteFileBytes(target_.string(), "old");
    WriteFileBytes(part_.string(), "older and longer");
    PartFile file(target_, true);
    ASSERT_TRUE(file.WriteAt(0, "new", 3));
    EXPECT_EQ(ReadBack(target_), "old");
    ASSERT_TRUE(file.Commit()) << file.FailureText();
    EXPECT_EQ(ReadBack(target_), "new");
}

TEST_F(PartFileTest, AFileThatAppearedMeanwhileIsNotOverwritten) {
    PartFile file(target_, false);
    ASSERT_TRUE(file.WriteAt(0, "mine", 4));
    WriteFileBytes(target_.string(), "theirs");
    EXPECT_FALSE(file.Commit());
    EXPECT_EQ(ReadBack(target_), "theirs");
    EXPECT_EQ(ReadBack(part_), "mine");
}

TEST_F(PartFileTest, AFolderThatDoesNotExistIsAnError) {
    EXPECT_THROW(PartFile(folder_.Path() / "no" / "a.wav", true), std::runtime_error);
    EXPECT_THROW(PartFile(folder_.Path(), true), std::runtime_error);
}

TEST_F(PartFileTest, AChangedCopyTakesThePlaceOfTheWholeFile) {
    PartFile file(target_, false);
    ASSERT_TRUE(file.WriteAt(0, "hello", 5));
    ASSERT_TRUE(file.ReplaceBy([&](const fs::path& from, RecordingSink& to) {
        EXPECT_EQ(ReadBack(from), "hello");
        EXPECT_TRUE(to.WriteAt(0, "hello, world", 12));
        EXPECT_TRUE(to.WriteAt(0, "H", 1));
        EXPECT_TRUE(to.Truncate(5));
        EXPECT_EQ(ReadBack(part_), "hello");
    })) << file.FailureText();
    EXPECT_FALSE(fs::exists(target_));
    ASSERT_TRUE(file.Commit()) << file.FailureText();
    EXPECT_EQ(ReadBack(target_), "Hello");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), fs::directory_iterator()), 1);
}

TEST_F(PartFileTest, ACopyThatFailsLeavesWhatWasRecorded) {
    PartFile file(target_, false);
    ASSERT_TRUE(file.WriteAt(0, "hello", 5));
    EXPECT_FALSE(file.ReplaceBy([](const fs::path&, RecordingSink& to) {
        to.WriteAt(0, "x", 1);
        throw std::runtime_error("no room");
    }));
    EXPECT_EQ(file.FailureText(), "no room");
    ASSERT_TRUE(file.Commit()) << file.FailureText();
    EXPECT_EQ(ReadBack(target_), "hello");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), fs::directory_iterator()), 1);
}

TEST_F(PartFileTest, ACopyThatWasLeftByACrashIsNoObstacle) {
    WriteFileBytes(part_.string() + ".copy", "half a co");
    PartFile file(target_, false);
    ASSERT_TRUE(file.WriteAt(0, "hello", 5));
    ASSERT_TRUE(file.ReplaceBy([](const fs::path&, RecordingSink& to) { to.WriteAt(0, "a", 1); }))
        << file.FailureText();
    ASSERT_TRUE(file.Commit());
    EXPECT_EQ(ReadBack(target_), "a");
}

}  // namespace receiver
