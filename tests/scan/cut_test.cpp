// "receiver-scan cut" as people run it: what it writes, prints, and how it exits.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "scan_run.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

class CutTest : public testing::Test {
protected:
    CutTest() { WriteWavFile(source_, music_); }
    ScanRun Cut(const std::string& from, const std::string& to, const std::string& output,
                const std::vector<std::string>& further = {}) {
        std::vector<std::string> arguments = {"cut",  source_, "--from", from,
                                              "--to", to,      "-o",     output};
        arguments.insert(arguments.end(), further.begin(), further.end());
        return RunScan(arguments);
    }
    static std::string BytesOf(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    TempFolder folder_;
    const TestPcm music_ = MakeMusic(1, 48000, 2, 5 * 48000);
    const std::string source_ = folder_.File("source.wav");
    const std::string output_ = folder_.File("cut.wav");
};

TEST_F(CutTest, TheStretchIsWrittenAndChecked) {
    const ScanRun run = Cut("1s", "00:00:03", output_);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output,
              output_ +
                  ": 00:00:01.000 to 00:00:03.000, samples 48000 to 144000 at 48000 Hz, "
                  "2 channels, 16 bits\ngood          2.00 s  " +
                  output_ + "\n");
    const std::vector<int16_t> wanted = music_.Range(48000, 144000);
    const std::string bytes = BytesOf(output_);
    ASSERT_GT(bytes.size(), wanted.size() * 2);
    EXPECT_EQ(bytes.substr(bytes.size() - wanted.size() * 2),
              std::string(reinterpret_cast<const char*>(wanted.data()), wanted.size() * 2));
}

TEST_F(CutTest, SamplesAreTakenAsTheyAre) {
    const ScanRun run = Cut("1001samples", "97002samples", output_);
    EXPECT_NE(run.output.find("samples 1001 to 97002 at"), std::string::npos) << run.output;
}

TEST_F(CutTest, AnExistingFileIsKeptUnlessForced) {
    ASSERT_EQ(Cut("1s", "3s", output_).exitCode, 0);
    const std::string before = BytesOf(output_);
    EXPECT_EQ(Cut("2s", "3s", output_).exitCode, 6);
    EXPECT_EQ(BytesOf(output_), before);
    EXPECT_EQ(Cut("2s", "3s", output_, {"--force"}).exitCode, 0);
    EXPECT_LT(BytesOf(output_).size(), before.size());
}

TEST_F(CutTest, MistakesOnTheCommandLineAreUsageErrors) {
    EXPECT_EQ(Cut("3s", "1s", output_).exitCode, 2);
    EXPECT_EQ(Cut("soon", "3s", output_).exitCode, 2);
    EXPECT_EQ(Cut("1s", "3s", folder_.File("cut.mp3")).exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(output_));
}

TEST_F(CutTest, AStretchBehindTheEndIsASourceError) {
    EXPECT_EQ(Cut("10s", "12s", output_).exitCode, 4);
    EXPECT_FALSE(std::filesystem::exists(output_));
}

}  // namespace
}  // namespace receiver
