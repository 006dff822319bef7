// What receiver-hash prints and writes, and how it exits.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "testing/audio_generator.h"
#include "testing/patience.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

class ReceiverHashTest : public testing::Test {
protected:
    int Execute(const std::vector<std::string>& arguments) {
        ChildProcess process((ExecutableDirectory() / "receiver-hash").string(), arguments,
                             ChildProcess::ErrorStream::kCapture);
        const uint64_t deadline = TickMs() + kPatienceMs;
        output_ = process.ReadAllOutput(deadline).value_or("");
        errors_ = process.ReadAllErrors(deadline).value_or("");
        // Where lines end in two characters, they are read as one.
        std::erase(output_, '\r');
        return process.WaitForExit(deadline).value_or(-1);
    }
    std::string SaveSecond(const std::string& name) const {
        WriteWavFile(folder_.File(name), MakeMusic(1, 22050, 1, 22050));
        return folder_.File(name);
    }

    const TempFolder folder_;
    std::string output_;
    std::string errors_;
};

}  // namespace

TEST_F(ReceiverHashTest, AWordForEveryHopIsWrittenAndALinePrinted) {
    const std::string one = SaveSecond("one.wav");
    const std::string two = SaveSecond("two.wav");
    EXPECT_EQ(Execute({one, two}), 0) << errors_;
    const std::string found = ": 81 frames, 1 ch @ 22050 Hz -> ";
    EXPECT_EQ(output_, one + found + one + ".hash\n" + two + found + two + ".hash\n");
    EXPECT_EQ(fs::file_size(one + ".hash"), 81u * 4);
    EXPECT_EQ(fs::file_size(two + ".hash"), 81u * 4);
}

TEST_F(ReceiverHashTest, AFileThatCannotBeReadIsNamedAndTheOthersAreStillWritten) {
    const std::string missing = folder_.File("missing.wav");
    const std::string good = SaveSecond("good.wav");
    EXPECT_EQ(Execute({missing, good}), 1);
    EXPECT_EQ(output_.rfind(missing + ": decode failed (FFmpeg Open)\n" + good + ": ", 0), 0u)
        << output_;
    EXPECT_FALSE(fs::exists(missing + ".hash"));
    EXPECT_TRUE(fs::exists(good + ".hash"));
}

TEST_F(ReceiverHashTest, WithoutAFileItPointsToTheHelp) {
    EXPECT_EQ(Execute({}), 2);
    EXPECT_EQ(output_, "");
    EXPECT_EQ(errors_.rfind("receiver-hash: ", 0), 0u);
    EXPECT_NE(errors_.find("--help"), std::string::npos);
}

TEST_F(ReceiverHashTest, HelpAndVersionGoToStandardOutput) {
    EXPECT_EQ(Execute({"--version"}), 0);
    EXPECT_EQ(output_.rfind("receiver-hash ", 0), 0u);
    EXPECT_EQ(Execute({"--help"}), 0);
    EXPECT_NE(output_.find("FILE.hash"), std::string::npos);
    EXPECT_EQ(errors_, "");
}

}  // namespace receiver
