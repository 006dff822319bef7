#include "log/file_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>

#include "testing/temp_folder.h"
#include "testing/test_task.h"

namespace receiver {

namespace fs = std::filesystem;

namespace {

constexpr LocalTime kTime{2024, 3, 2, 9, 5, 1, 0};

TEST(TimeStampedLogName, TheStampStandsBeforeTheExtension) {
    EXPECT_EQ(TimeStampedLogName("receiver.log", kTime), "receiver_20240302_090501.log");
    EXPECT_EQ(TimeStampedLogName("a.b.log", kTime), "a.b_20240302_090501.log");
}

TEST(TimeStampedLogName, WithoutAnExtensionItStandsAtTheEnd) {
    EXPECT_EQ(TimeStampedLogName("receiver", kTime), "receiver_20240302_090501");
}

TEST(TimeStampedLogName, APointInAFolderNameIsNoExtension) {
    EXPECT_EQ(TimeStampedLogName("logs.d/receiver", kTime), "logs.d/receiver_20240302_090501");
    EXPECT_EQ(TimeStampedLogName("logs.d\\receiver", kTime), "logs.d\\receiver_20240302_090501");
    EXPECT_EQ(TimeStampedLogName("logs.d/sub\\receiver", kTime),
              "logs.d/sub\\receiver_20240302_090501");
}

TEST(TimeStampedLogName, AnExtensionInAFolderWithAPointIsOne) {
    EXPECT_EQ(TimeStampedLogName("logs.d/receiver.log", kTime),
              "logs.d/receiver_20240302_090501.log");
}

class FileLogTest : public testing::Test {
protected:
    static std::string Content(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string Content() const { return Content(path_); }
    std::vector<fs::path> Files() const {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(folder_.Path())) {
            files.push_back(entry.path());
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    const TempFolder folder_;
    const std::string path_ = folder_.File("receiver.log");
};

TEST_F(FileLogTest, WithoutALimitTheFileHasThePathItself) {
    const CFileLog log(path_, 0, 64);
    EXPECT_TRUE(log.IsOpen());
    EXPECT_EQ(Files(), std::vector<fs::path>{path_});
}

TEST_F(FileLogTest, WithALimitTheFilesNameTellsWhenItWasOpened) {
    const CFileLog log(path_, 1000, 64);
    ASSERT_EQ(Files().size(), 1u);
    EXPECT_TRUE(std::regex_match(Files()[0].filename().string(),
                                 std::regex("receiver_[0-9]{8}_[0-9]{6}\\.log")));
}

TEST_F(FileLogTest, AFolderThatDoesNotExistLeavesItClosed) {
    const CFileLog log(folder_.File("missing") + "/receiver.log", 1000, 64);
    EXPECT_FALSE(log.IsOpen());
}

TEST_F(FileLogTest, WritingToAClosedLogLosesTheLineSilently) {
    CFileLog log(folder_.File("missing") + "/receiver.log", 1000, 8);
    EXPECT_EQ(log.Write("longer than the buffer"), 0);
    EXPECT_EQ(log.Write("abc"), 0);
    log.Flush();
    EXPECT_FALSE(log.IsOpen());
}

TEST_F(FileLogTest, AShortLineWaitsInTheBufferUntilTheFlush) {
    CFileLog log(path_, 0, 64);
    EXPECT_EQ(log.Write("abc\n"), 0);
    EXPECT_EQ(Content(), "");
    log.Flush();
    EXPECT_EQ(Content(), "abc\n");
}

TEST_F(FileLogTest, AFlushTwiceWritesOnce) {
    CFileLog log(path_, 0, 64);
    log.Write("abc\n");
    log.Flush();
    log.Flush();
    EXPECT_EQ(Content(), "abc\n");
}

// The last place of the buffer stays free: 4 + 3 < 8 fits, 4 + 4 does not.
TEST_F(FileLogTest, ALineThatFillsTheBufferWritesWhatWaitsAndThenItself) {
    CFileLog log(path_, 0, 8);
    EXPECT_EQ(log.Write("abcd"), 0);
    EXPECT_EQ(log.Write("efg"), 0);
    EXPECT_EQ(Content(), "");
    EXPECT_EQ(log.Write("h"), 1);
    EXPECT_EQ(Content(), "abcdefgh");
}

TEST_F(FileLogTest, ALineOfTheBuffersSizeGoesPastWhatWaitsInIt) {
    CFileLog log(path_, 0, 8);
    EXPECT_EQ(log.Write("abc"), 0);
    EXPECT_EQ(log.Write("12345678"), 8);
    EXPECT_EQ(Content(), "12345678");
    log.Flush();
    EXPECT_EQ(Content(), "12345678abc");
}

TEST_F(FileLogTest, ItsEndLeavesTheBufferUnwritten) {
    { CFileLog(path_, 0, 64).Write("abc"); }
    EXPECT_EQ(Content(), "");
}

TEST_F(FileLogTest, AnExistingFileIsContinuedAtItsEnd) {
    std::ofstream(path_, std::ios::binary) << "old\n";
    CFileLog log(path_, 0, 64);
    log.Write("new\n");
    log.Flush();
    EXPECT_EQ(Content(), "old\nnew\n");
}

TEST_F(FileLogTest, SetBufferSizeFlushesAndTakesTheNewSize) {
    CFileLog log(path_, 0, 64);
    log.Write("abc");
    log.SetBufferSize(4);
    EXPECT_EQ(Content(), "abc");
    EXPECT_EQ(log.Write("1234"), 4);
    EXPECT_EQ(Content(), "abc1234");
}

TEST_F(FileLogTest, ALineUpToTheLimitStaysInTheFile) {
    CFileLog log(path_, 10, 64);
    log.Write("12345");
    log.Flush();
    log.Write("67890");
    log.Flush();
    ASSERT_EQ(Files().size(), 1u);
    EXPECT_EQ(Content(Files()[0]), "1234567890");
}

// A roll-over within the second of the opening takes the same name, so the file starts anew;
// one in a later second takes a new name. Either way the file with the last line holds
// nothing else.
TEST_F(FileLogTest, ALineBeyondTheLimitStartsANewFile) {
    CFileLog log(path_, 10, 64);
    log.Write("1234567890");
    log.Flush();
    log.Write("next");
    log.Flush();
    EXPECT_EQ(Content(Files().back()), "next");
}

TEST_F(FileLogTest, TheNewFilesSizeIsCountedFromZero) {
    CFileLog log(path_, 10, 64);
    log.Write("1234567890");
    log.Flush();
    log.Write("12345");
    log.Flush();
    log.Write("67890");
    log.Flush();
    EXPECT_EQ(Content(Files().back()), "1234567890");
}

TEST_F(FileLogTest, WhatWaitsInTheBufferIsWrittenBeforeTheRollOver) {
    CFileLog log(path_, 10, 64);
    log.Write("12345678");
    log.Write("overflowing");  // the limit is met by this line alone
    log.Flush();
    EXPECT_EQ(Content(Files().back()), "overflowing");
}

// Two roll-overs in one second meet with near certainty in twenty; more names than
// roll-overs would show that one did not replace the file.
TEST_F(FileLogTest, RollOversWithinOneSecondReplaceTheFilesContents) {
    CFileLog log(path_, 4, 64);
    for (int i = 0; i < 20; ++i) {
        log.Write("line");
        log.Flush();
    }
    EXPECT_LT(Files().size(), 20u);
    for (const fs::path& file : Files()) EXPECT_EQ(Content(file), "line");
}

TEST_F(FileLogTest, AFailedRollOverLeavesItClosedWithoutALimit) {
    const fs::path inner = folder_.Path() / "inner";
    fs::create_directory(inner);
    CFileLog log((inner / "receiver.log").string(), 4, 64);
    ASSERT_TRUE(log.IsOpen());
    log.Write("line");
    log.Flush();
    std::error_code cannotRemoveOpenFiles;
    fs::remove_all(inner, cannotRemoveOpenFiles);
    if (cannotRemoveOpenFiles) GTEST_SKIP() << "a folder with an open file cannot be removed here";

    log.Write("more");
    EXPECT_FALSE(log.IsOpen());
    EXPECT_EQ(log.Write(std::string(100, 'x')), 0);
    fs::create_directory(inner);
    log.Write("even more");
    EXPECT_FALSE(log.IsOpen());
    EXPECT_TRUE(fs::is_empty(inner));
}

TEST_F(FileLogTest, LinesOfSeveralThreadsNeverMix) {
    CFileLog log(path_, 0, 64);
    const auto writeLines = [&log](char c) {
        for (int i = 0; i < 200; ++i) log.Write(std::string(20, c) + "\n");
    };
    TestTask first("the first writer", [&] { writeLines('a'); });
    TestTask second("the second writer", [&] { writeLines('b'); });
    first.Get();
    second.Get();
    log.Flush();

    std::ifstream file(path_);
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines) {
        EXPECT_TRUE(line == std::string(20, 'a') || line == std::string(20, 'b')) << line;
    }
    EXPECT_EQ(lines, 400);
}

}  // namespace
}  // namespace receiver
