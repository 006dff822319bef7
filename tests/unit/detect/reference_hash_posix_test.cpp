#include <gtest/gtest.h>

#include <filesystem>

#include "detect/reference_hash.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

TEST(ReferenceHashPosix, FailsOnAFullDisk) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
    const TempFolder folder;
    const std::string path = folder.File("jingle.wav");
    WriteWavFile(path, MakeMusic(1, 22050, 1, 22050));
    std::filesystem::create_symlink("/dev/full", path + ".hash");
    std::string message;
    EXPECT_FALSE(DumpReferenceHash(path, &message));
    EXPECT_EQ(message, "cannot write output .hash");
}

}  // namespace
}  // namespace receiver
