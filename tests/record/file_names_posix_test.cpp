// Names of files that FFmpeg would take for a URL.
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/executable_path.h"
#include "record_run.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

class FileNamesTest : public testing::Test, public RecordRun {
protected:
    // In the test's folder, with names relative to it.
    std::unique_ptr<ChildProcess> StartThere(const std::string& program,
                                             const std::vector<std::string>& arguments) const {
        std::vector<std::string> command{"-c", "cd \"$0\" && exec \"$@\"", folder_.Path().string(),
                                         program};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return std::make_unique<ChildProcess>("sh", command, ChildProcess::ErrorStream::kCapture);
    }
    static std::optional<int> Exit(ChildProcess& process) {
        return process.WaitForExit(TickMs() + kRunPatienceMs);
    }
};

}  // namespace

TEST_F(FileNamesTest, AColonIsAPartOfTheName) {
    Serve();
    fs::rename(folder_.File("jingle.wav"), folder_.File("20:00 jingle.wav"));
    for (const std::string extension : {".wav", ".flac", ".m4a"}) {
        const std::string name = "20:00 news" + extension;
        const auto process = StartThere(
            RecordProgram(),
            {station_.Url("/live"), "--start", "20:00 jingle.wav", "--max", "2s", "-o", name});
        EXPECT_EQ(Exit(*process), 0) << process->ReadAllErrors(TickMs()).value_or("");
        EXPECT_GT(fs::file_size(folder_.File(name)), 1000u);
        EXPECT_TRUE(fs::exists(folder_.File(name) + ".json"));
    }
}

TEST_F(FileNamesTest, AlsoForReceiverHash) {
    fs::rename(folder_.File("jingle.wav"), folder_.File("20:00 jingle.wav"));
    const auto process =
        StartThere((ExecutableDirectory() / "receiver-hash").string(), {"20:00 jingle.wav"});
    EXPECT_EQ(Exit(*process), 0) << process->ReadAllOutput(TickMs()).value_or("");
    EXPECT_GT(fs::file_size(folder_.File("20:00 jingle.wav.hash")), 0u);
}

}  // namespace receiver
