// Names of files that no code page of old could spell, all the way from the command line or
// the control pipe to the file system.
#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "platform/text.h"
#include "testing/receiver_fixture.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kRunPatienceMs = 60000;

// Greek, Chinese and a character beyond 16 bits, in UTF-8 and in the system's UTF-16.
const std::string kName = "\xCE\xB1-\xE9\x9F\xB3\xE6\xA5\xBD-\xF0\x9D\x84\x9E";
const std::wstring kWideName = L"\u03B1-\u97F3\u697D-\U0001D11E";

class PathsTest : public ReceiverTest {
protected:
    void SetUp() override {
        ReceiverTest::SetUp();
        fs::create_directory(wideFolder_);
    }

    // In a folder that is called like that, too.
    std::string PathOf(const std::string& extension) const {
        return folder_.File("") + kName + "\\" + kName + extension;
    }
    fs::path WidePathOf(const std::wstring& extension) const {
        return wideFolder_ / (kWideName + extension);
    }

    std::string SaveJingle(const Broadcast& broadcast) {
        WriteWavFile(PathOf(".wav"), broadcast.startJingle);
        EXPECT_TRUE(fs::exists(WidePathOf(L".wav")));
        return PathOf(".wav");
    }

    static int RunTool(const std::string& name, const std::vector<std::string>& arguments) {
        ChildProcess tool((ExecutableDirectory() / name).string(), arguments);
        return tool.WaitForExit(TickMs() + kRunPatienceMs).value_or(-1);
    }

    const fs::path wideFolder_ = folder_.Path() / kWideName;
};

}  // namespace

TEST_F(PathsTest, AReferenceIsReadAndHeard) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    const ReferenceFile jingle{"a", "start", SaveJingle(broadcast)};
    const std::string url = ServeAll(WavRoute(broadcast.audio));
    const Recording recording = Record(receiver_, PrepareCommand("s", url, {jingle}, 1000, 0));
    EXPECT_EQ(recording.finished["reason"], "eof");
    EXPECT_EQ(recording.All("DETECTED").front()["referenceId"], "a");
}

TEST_F(PathsTest, TheLogIsWritten) {
    ReceiverDriver receiver({.logPath = PathOf(".log")});
    receiver.Introduce();
    receiver.Shutdown();
    const fs::path log = fs::directory_iterator(wideFolder_)->path();
    EXPECT_EQ(log.filename().wstring().substr(0, kWideName.size() + 1), kWideName + L"_");
    EXPECT_EQ(log.extension(), L".log");
    EXPECT_GT(fs::file_size(log), 0u);
}

TEST_F(PathsTest, ARecordingIsWritten) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    const std::string url = ServeAll(WavRoute(broadcast.audio));
    const std::string output = PathOf("-program.wav");
    ASSERT_EQ(RunTool("receiver-record",
                      {url, "--start", SaveJingle(broadcast), "--max", "1s", "-o", output}),
              0);
    EXPECT_EQ(DecodeStream(output).Frames(), 44100u);
    EXPECT_TRUE(fs::exists(WidePathOf(L"-program.wav")));
    EXPECT_TRUE(fs::exists(WidePathOf(L"-program.wav.json")));
}

TEST_F(PathsTest, AHashIsWrittenBesideItsRecording) {
    ASSERT_EQ(RunTool("receiver-hash", {SaveJingle(MakeBroadcast(44100, 2))}), 0);
    EXPECT_GT(fs::file_size(WidePathOf(L".wav.hash")), 0u);
}

}  // namespace receiver
