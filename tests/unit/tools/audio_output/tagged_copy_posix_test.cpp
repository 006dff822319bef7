// What takes a file with holes, which costs no disk.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "audio_output/tagged_copy.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"
#include "unit/tools/audio_output/fake_sink.h"

namespace receiver {
namespace {

constexpr uint64_t kBigFrames = (1ULL << 32) / 4 + 100000;

uint64_t LittleEndian64(const std::string& bytes, size_t at) {
    uint64_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof(value));
    return value;
}

std::string LittleEndian(uint64_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

// Of an RF64 file: what a WAV file has, with the true sizes in a chunk of their own.
std::string BigHead() {
    const std::string unknown(4, '\xff');
    const std::string wav = WavBytes(MakeSilence(44100, 2, 0));
    const std::string ds64 = "ds64" + LittleEndian(28).substr(0, 4) +
                             LittleEndian(kBigFrames * 4 + wav.size() - 8 + 36) +
                             LittleEndian(kBigFrames * 4) + LittleEndian(kBigFrames) +
                             LittleEndian(0).substr(0, 4);
    return "RF64" + unknown + "WAVE" + ds64 + wav.substr(12, wav.size() - 12 - 4) + unknown;
}

}  // namespace

TEST(TaggedCopyPosix, ACopyAbove4GiBIsRf64WithItsTrueSizes) {
    const TempFolder folder;
    const std::string path = folder.File("big.wav");
    WriteFileBytes(path, BigHead());
    std::filesystem::resize_file(path, BigHead().size() + kBigFrames * 4);

    FakeSink copy;
    copy.KeepOnly(1 << 20);
    CopyWithTags(path, WavFormat(), {{"comment", "late"}}, kBigFrames / 44100.0 - 1, copy);
    const std::string head = copy.Bytes();
    EXPECT_EQ(head.substr(0, 4), "RF64");
    const size_t ds64 = head.find("ds64") + 8;
    EXPECT_EQ(LittleEndian64(head, ds64), copy.Size() - 8);
    EXPECT_EQ(LittleEndian64(head, ds64 + 8), kBigFrames * 4);
    EXPECT_NE(head.find("late"), std::string::npos);
}

}  // namespace receiver
