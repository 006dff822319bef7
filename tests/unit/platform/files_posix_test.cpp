#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/files.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

TEST(FilesPosix, AFullDiskIsReportedByTheBytesWritten) {
    AppendFile file;
    ASSERT_TRUE(file.Open("/dev/full", AppendFile::Mode::kOpenAlways));
    EXPECT_EQ(file.Write("lost", 4), 0u);
}

// Flush relies on it.
TEST(FilesPosix, AWriteReturnsWhenTheDiskHasIt) {
    const TempFolder folder;
    const std::string path = folder.File("through");
    for (const auto mode : {AppendFile::Mode::kOpenAlways, AppendFile::Mode::kCreateAlways}) {
        AppendFile file;
        ASSERT_TRUE(file.Open(path, mode));
        bool found = false;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code closedMeanwhile;
            if (std::filesystem::read_symlink(entry.path(), closedMeanwhile) != path) continue;
            found = true;
            const int flags = fcntl(std::stoi(entry.path().filename()), F_GETFL);
            EXPECT_NE(flags & O_DSYNC, 0);
        }
        EXPECT_TRUE(found);
    }
}

TEST(FilesPosix, ADeviceIsAFile) {
    EXPECT_TRUE(IsExistingFile("/dev/null"));
}

}  // namespace
}  // namespace receiver
