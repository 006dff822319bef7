#include <gtest/gtest.h>

#include <fstream>

#include "platform/files.h"
#include "platform/text.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

TEST(FilesWin32, APathWithCharactersOutsideWindows1252Works) {
    const TempFolder folder;
    const std::string path =
        folder.File("") + Utf8ToAnsi("\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xB5.log");
    AppendFile file;
    ASSERT_TRUE(file.Open(path, AppendFile::Mode::kOpenAlways));
    EXPECT_EQ(file.Write("line", 4), 4u);
    EXPECT_TRUE(IsExistingFile(path));

    file.Close();
    std::string content;
    std::ifstream(ToFilesystemPath(path)) >> content;
    EXPECT_EQ(content, "line");
}

}  // namespace
}  // namespace receiver
