#include <gtest/gtest.h>

#include "platform/files.h"

namespace receiver {
namespace {

TEST(FilesPosix, AFullDiskIsReportedByTheBytesWritten) {
    AppendFile file;
    ASSERT_TRUE(file.Open("/dev/full", AppendFile::Mode::kOpenAlways));
    EXPECT_EQ(file.Write("lost", 4), 0u);
}

TEST(FilesPosix, ADeviceIsAFile) {
    EXPECT_TRUE(IsExistingFile("/dev/null"));
}

}  // namespace
}  // namespace receiver
