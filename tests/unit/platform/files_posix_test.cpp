#include <gtest/gtest.h>

#include "platform/files.h"

namespace {

TEST(FilesPosix, AFullDiskIsReportedByTheBytesWritten) {
    CAppendFile file;
    ASSERT_TRUE(file.Open("/dev/full", CAppendFile::Mode::kOpenAlways));
    EXPECT_EQ(file.Write("lost", 4), 0u);
}

TEST(FilesPosix, ADeviceIsAFile) {
    EXPECT_TRUE(IsExistingFile("/dev/null"));
}

}  // namespace
