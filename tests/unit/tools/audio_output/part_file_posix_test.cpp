// What links, locks and the disk's own order make of a recording's file.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "audio_output/part_file.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

// What was asked to be put onto the disk, and what stood in the folder at that moment.
struct FolderFlush {
    fs::path folder;
    std::vector<fs::path> names;
};
std::vector<FolderFlush>* folderFlushes = nullptr;

std::string ReadBack(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class PartFilePosixTest : public testing::Test {
protected:
    TempFolder folder_;
    const fs::path target_ = folder_.Path() / "a.wav";
    const fs::path part_ = folder_.Path() / "a.wav.part";
    const fs::path elsewhere_ = folder_.Path() / "elsewhere";
};

}  // namespace
}  // namespace receiver

// In the place of the C library's, which it calls.
extern "C" int fsync(int fd) {
    using namespace receiver;
    const fs::path path = fs::read_symlink("/proc/self/fd/" + std::to_string(fd));
    if (folderFlushes != nullptr && fs::is_directory(path)) {
        FolderFlush flush{path, {}};
        for (const auto& entry : fs::directory_iterator(path)) {
            flush.names.push_back(entry.path().filename());
        }
        folderFlushes->push_back(flush);
    }
    static const auto real = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fsync"));
    return real(fd);
}

namespace receiver {

TEST_F(PartFilePosixTest, TheNewNameIsPutOntoTheDiskAfterTheRename) {
    std::vector<FolderFlush> flushes;
    PartFile file(target_, false);
    ASSERT_TRUE(file.WriteAt(0, "hello", 5));
    folderFlushes = &flushes;
    EXPECT_TRUE(file.Commit()) << file.FailureText();
    folderFlushes = nullptr;
    ASSERT_EQ(flushes.size(), 1u);
    EXPECT_EQ(flushes[0].folder, fs::canonical(folder_.Path()));
    EXPECT_EQ(flushes[0].names, std::vector<fs::path>{"a.wav"});
}

TEST_F(PartFilePosixTest, ALinkInThePlaceOfThePartFileIsReplacedAndNotFollowed) {
    WriteFileBytes(elsewhere_.string(), "precious");
    fs::create_symlink(elsewhere_, part_);
    EXPECT_THROW(PartFile(target_, false), std::runtime_error);
    PartFile file(target_, true);
    ASSERT_TRUE(file.WriteAt(0, "hello", 5));
    ASSERT_TRUE(file.Commit()) << file.FailureText();
    EXPECT_EQ(ReadBack(elsewhere_), "precious");
    EXPECT_EQ(ReadBack(target_), "hello");
    EXPECT_FALSE(fs::is_symlink(target_));
}

TEST_F(PartFilePosixTest, ALinkInThePlaceOfTheCopyIsNotFollowedEither) {
    WriteFileBytes(elsewhere_.string(), "precious");
    PartFile file(target_, false);
    ASSERT_TRUE(file.WriteAt(0, "hello", 5));
    fs::create_symlink(elsewhere_, part_.string() + ".copy");
    EXPECT_TRUE(file.ReplaceBy([](const fs::path&, RecordingSink& to) { to.WriteAt(0, "a", 1); }))
        << file.FailureText();
    EXPECT_EQ(ReadBack(elsewhere_), "precious");
    EXPECT_EQ(ReadBack(part_), "a");
    EXPECT_FALSE(fs::is_symlink(part_));
}

TEST_F(PartFilePosixTest, ALinkThatLeadsNowhereIsANameThatIsTaken) {
    fs::create_symlink(elsewhere_, target_);
    EXPECT_THROW(PartFile(target_, false), std::runtime_error);
    fs::remove(target_);
    PartFile file(target_, false);
    fs::create_symlink(elsewhere_, target_);
    EXPECT_FALSE(file.Commit());
    EXPECT_TRUE(fs::is_symlink(target_));
    EXPECT_FALSE(fs::exists(elsewhere_));
}

// Else the one that ends first would give the other's half a recording its name.
TEST_F(PartFilePosixTest, WhatAnotherRecordingIsWritingIsNotTakenFromIt) {
    PartFile first(target_, false);
    ASSERT_TRUE(first.WriteAt(0, "first", 5));
    EXPECT_THROW(PartFile(target_, true), std::runtime_error);
    ASSERT_TRUE(first.Commit()) << first.FailureText();
    EXPECT_EQ(ReadBack(target_), "first");
}

}  // namespace receiver
