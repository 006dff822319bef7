#include "platform/executable_path.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

TEST(ExecutablePath, IsTheDirectoryOfThisProgram) {
    const std::filesystem::path directory = ExecutableDirectory();
    EXPECT_TRUE(directory.is_absolute());
    const bool isHere = std::filesystem::exists(directory / "unit_platform") ||
                        std::filesystem::exists(directory / "unit_platform.exe");
    EXPECT_TRUE(isHere) << directory;
}

}  // namespace
}  // namespace receiver
