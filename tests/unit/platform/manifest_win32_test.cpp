// What every program is built with: the manifest that makes UTF-8 the ANSI code page, so that no
// character of a path is lost between the command line and the file system, and a deep stack.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/files.h"
#include "platform/ids.h"
#include "platform/text.h"

namespace receiver {
namespace {

// Greek, Chinese and a character beyond 16 bits: in no single code page of old.
const std::string kName = "\xCE\xB1-\xE9\x9F\xB3\xE6\xA5\xBD-\xF0\x9D\x84\x9E";

class ManifestTest : public testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directory(folder_); }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string PathOf(const std::string& name) const { return folder_.string() + "\\" + name; }

    const std::filesystem::path folder_ =
        std::filesystem::temp_directory_path() / ("receiver-" + CreateInstanceId());
};

}  // namespace

TEST_F(ManifestTest, TheAnsiCodePageIsUtf8) {
    EXPECT_EQ(GetACP(), static_cast<UINT>(CP_UTF8));
}

TEST_F(ManifestTest, TextOutsideEveryOldCodePageKeepsItsCharacters) {
    EXPECT_EQ(Utf8ToAnsi(kName), kName);
    EXPECT_EQ(AnsiToUtf8(kName), kName);
}

TEST_F(ManifestTest, AFileOfSuchANameIsTheOneThatTheSystemSees) {
    AppendFile file;
    ASSERT_TRUE(file.Open(PathOf(kName), AppendFile::Mode::kCreateAlways));
    EXPECT_EQ(file.Write("abc", 3), 3u);
    file.Close();

    EXPECT_TRUE(IsExistingFile(PathOf(kName)));
    const std::filesystem::path wide = ToFilesystemPath(PathOf(kName));
    EXPECT_EQ(wide.filename().wstring(), L"\u03B1-\u97F3\u697D-\U0001D11E");
    EXPECT_EQ(std::filesystem::file_size(wide), 3u);
}

TEST(Stack, TheMainThreadHasAKilobyteForEachLevelOfTheDeepestFrame) {
    ULONG_PTR low = 0, high = 0;
    GetCurrentThreadStackLimits(&low, &high);
    EXPECT_GE(high - low, 65536u / 2 * 1024);  // a bracket opened and closed a level
}

}  // namespace receiver
