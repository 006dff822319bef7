// Programs that are started without some of their standard streams: what they open must not
// take their place.
#include <gmock/gmock.h>

#include "platform/clock.h"
#include "platform/executable_path.h"
#include "testing/missing_streams_posix.h"
#include "testing/process_probe_posix.h"
#include "testing/receiver_fixture.h"

namespace receiver {
namespace {

uint64_t Soon() {
    return TickMs() + kPatienceMs;
}

std::string ReadFileBytes(const std::string& path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

// The three standard descriptors of a process: the null device where they were missing, the
// streams that ChildProcess gives it elsewhere.
void ExpectStandardStreams(long pid, int missing) {
    for (int fd = 0; fd <= 2; ++fd) {
        const std::string target =
            std::filesystem::read_symlink(ProcessFolder(pid) / "fd" / std::to_string(fd)).string();
        if (fd == 0 || IsMissing(missing, fd)) {
            EXPECT_EQ(target, "/dev/null") << fd;
        } else {
            EXPECT_THAT(target, testing::StartsWith("pipe:")) << fd;
        }
    }
}

int ExitCodeOf(int missing, const std::vector<std::string>& command) {
    ChildProcess process("sh", WithoutStreams(missing, command),
                         ChildProcess::ErrorStream::kCapture);
    return process.WaitForExit(Soon()).value_or(-1);
}

std::string Program(const std::string& name) {
    return (ExecutableDirectory() / name).string();
}

class MissingStreamsTest : public testing::TestWithParam<int> {
protected:
    const TempFolder folder_;
};

TEST_P(MissingStreamsTest, AReceiverServesAndItsLogHoldsItsOwnLinesOnly) {
    const std::string uri = ReceiverDriver::UniqueUri();
    ChildProcess receiver("sh",
                          WithoutStreams(GetParam(), {ReceiverDriver::ProgramPath(), uri,
                                                      folder_.File("receiver.log")}),
                          ChildProcess::ErrorStream::kCapture);
    RawControlClient client;
    ASSERT_TRUE(client.Connect(uri));
    ASSERT_TRUE(client.SendFrame(R"({"type":"HELLO","requestId":"r","version":1})"));
    EXPECT_THAT(client.Receive().value_or(""), testing::HasSubstr("WELCOME"));
    ExpectStandardStreams(receiver.ProcessId(), GetParam());
    receiver.Interrupt();
    EXPECT_EQ(receiver.WaitForExit(Soon()), 0);

    std::string log;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
        log += ReadFileBytes(entry.path().string());
    }
    EXPECT_THAT(log, testing::HasSubstr(" RECEIVER HOST_STOPPED "));
    EXPECT_THAT(log, testing::Not(testing::HasSubstr("LISTENING")));
}

TEST_P(MissingStreamsTest, AFingerprintHoldsNothingElse) {
    const TestPcm jingle = MakeBroadcast(22050, 1).startJingle;
    WriteWavFile(folder_.File("good.wav"), jingle);
    WriteWavFile(folder_.File("tried.wav"), jingle);
    ChildProcess good(Program("receiver-hash"), {folder_.File("good.wav")});
    ASSERT_EQ(good.WaitForExit(Soon()), 0);

    EXPECT_EQ(ExitCodeOf(GetParam(), {Program("receiver-hash"), folder_.File("tried.wav")}), 0);
    EXPECT_EQ(ReadFileBytes(folder_.File("tried.wav.hash")),
              ReadFileBytes(folder_.File("good.wav.hash")));
}

INSTANTIATE_TEST_SUITE_P(Combinations, MissingStreamsTest,
                         testing::Range(kNoStreamMissing, kAllStreamsMissing + 1));

#ifdef RECEIVER_HAS_DEMO
// It writes its files one after another.
TEST(MissingStreamsOfDemo, TheStudioWritesItsFiles) {
    const TempFolder folder;
    EXPECT_EQ(ExitCodeOf(kAllStreamsMissing,
                         {Program("receiver-demo"), "studio", folder.Path().string()}),
              0);
    EXPECT_EQ(ReadFileBytes(folder.File("broadcast.wav")).substr(0, 4), "RIFF");
}
#endif

}  // namespace
}  // namespace receiver
