#include "platform/files.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "testing/temp_folder.h"

namespace receiver {
namespace {

class FilesTest : public testing::Test {
protected:
    std::string Content() const {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const TempFolder folder_;
    const std::string path_ = folder_.File("file.txt");
};

TEST_F(FilesTest, AFileExists) {
    std::ofstream(path_) << "x";
    EXPECT_TRUE(IsExistingFile(path_));
}

TEST_F(FilesTest, AFolderIsNoFile) {
    EXPECT_FALSE(IsExistingFile(folder_.Path().string()));
}

TEST_F(FilesTest, WhatDoesNotExistIsNoFile) {
    EXPECT_FALSE(IsExistingFile(path_));
    EXPECT_FALSE(IsExistingFile(""));
    EXPECT_FALSE(IsExistingFile(path_ + "/below"));
}

TEST_F(FilesTest, AnAppendFileStartsClosed) {
    AppendFile file;
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.Size(), 0u);
    EXPECT_EQ(file.Write("x", 1), 0u);
    file.Flush();
}

TEST_F(FilesTest, OpenAlwaysContinuesAtTheEnd) {
    std::ofstream(path_, std::ios::binary) << "old";
    AppendFile file;
    ASSERT_TRUE(file.Open(path_, AppendFile::Mode::kOpenAlways));
    EXPECT_EQ(file.Size(), 3u);
    EXPECT_EQ(file.Write("new", 3), 3u);
    EXPECT_EQ(file.Size(), 6u);
    EXPECT_EQ(Content(), "oldnew");
}

TEST_F(FilesTest, CreateAlwaysStartsAnew) {
    std::ofstream(path_, std::ios::binary) << "old";
    AppendFile file;
    ASSERT_TRUE(file.Open(path_, AppendFile::Mode::kCreateAlways));
    EXPECT_EQ(file.Size(), 0u);
    file.Write("new", 3);
    EXPECT_EQ(Content(), "new");
}

TEST_F(FilesTest, AFailedOpenLeavesItClosed) {
    AppendFile file;
    ASSERT_TRUE(file.Open(path_, AppendFile::Mode::kOpenAlways));
    EXPECT_FALSE(file.Open(folder_.Path().string(), AppendFile::Mode::kOpenAlways));
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(FilesTest, LineEndsAreWrittenAsTheyAre) {
    AppendFile file;
    ASSERT_TRUE(file.Open(path_, AppendFile::Mode::kOpenAlways));
    file.Write("a\nb\r\n", 5);
    EXPECT_EQ(Content(), "a\nb\r\n");
}

TEST_F(FilesTest, CloseTwiceIsHarmless) {
    AppendFile file;
    ASSERT_TRUE(file.Open(path_, AppendFile::Mode::kOpenAlways));
    file.Close();
    file.Close();
    EXPECT_FALSE(file.IsOpen());
}

}  // namespace
}  // namespace receiver
