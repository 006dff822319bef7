// A station whose few bytes are hours of silence, and a system that sets a limit to memory.
#include <fstream>

#include "testing/process_probe_posix.h"
#include "testing/receiver_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  // whose own memory has no limit that fits
#else
constexpr bool kSanitized = false;
#endif

size_t VirtualKilobytesOf(long pid) {
    std::ifstream status(ProcessFolder(pid) / "status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmSize:")) return std::stoul(line.substr(7));
    }
    return 0;
}

class MemoryLimitTest : public ReceiverTest {
protected:
    // A minute of eight channels costs 40 MB in memory and little on the way.
    static std::string EncodeSilence(int minutes) {
        const std::string minute =
            EncodeAudio(MakeSilence(44100, 8, FramesOf(44100, 60000)), AudioCoding::kAacAdts);
        std::string body;
        for (int i = 0; i < minutes; ++i) body += minute;
        return body;
    }
};

}  // namespace

TEST_F(MemoryLimitTest, RunningOutOfMemoryEndsTheSessionAndNotTheReceiver) {
    if (kSanitized) GTEST_SKIP() << "a sanitizer takes all addresses there are";
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    StationRoute route;
    route.contentType = MimeTypeOf(AudioCoding::kAacAdts);
    route.body = EncodeSilence(30);
    station_.Serve("/silence", route);
    const size_t idle = VirtualKilobytesOf(static_cast<long>(receiver_.Process().ProcessId()));

    // Besides the silence, the session's threads and what the C library keeps for each.
    ReceiverDriver::Options options;
    options.launcher = {"sh", "-c", "ulimit -v " + std::to_string(idle + 400000) + "; exec \"$@\"",
                        "sh"};
    ReceiverDriver receiver(options);
    receiver.Introduce();
    for (const char* sessionId : {"first", "second"}) {
        SCOPED_TRACE(sessionId);
        const Recording recording = Record(
            receiver, PrepareCommand(sessionId, station_.Url("/silence"), SaveJingles(broadcast)));
        EXPECT_EQ(recording.finished["reason"], "error");
        EXPECT_EQ(recording.finished["buffer"]["error"], 8);
        EXPECT_GT(recording.finished["buffer"]["receivedBytes"], 10000000);
    }
    StationRoute clean = WavRoute(broadcast.audio);
    station_.Serve("/clean", clean);
    const Recording afterwards = Record(
        receiver, PrepareCommand("third", station_.Url("/clean"), SaveJingles(broadcast), 1000, 0));
    EXPECT_EQ(afterwards.finished["reason"], "eof");
    receiver.Shutdown();
}

}  // namespace receiver
