// The system's limits: descriptors, disk, and what hundreds of sessions leave behind.
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <ctime>

#include "platform/clock.h"
#include "testing/process_probe_posix.h"
#include "testing/receiver_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

uint64_t Soon() {
    return TickMs() + kPatienceMs;
}

class ExhaustionTest : public ReceiverTest {
protected:
    ExhaustionTest() : broadcast_(MakeBroadcast(22050, 1)) {
        station_.Serve(kPath, WavRoute(broadcast_.audio));
        prepare_ = PrepareCommand("s", station_.Url(kPath), SaveJingles(broadcast_), 1000, 0);
    }

    // What came of a receiver with so many descriptors.
    enum class Outcome { kNotLoaded, kNoStart, kNoClient, kSessionFailed, kProgram };
    Outcome RunWithDescriptors(int count);
    Outcome RunSession(RawControlClient& client);

    const Broadcast broadcast_;
    json prepare_;
};

ExhaustionTest::Outcome ExhaustionTest::RunSession(RawControlClient& client) {
    json prepare = prepare_;
    prepare.update({{"requestId", "p"}, {"version", 1}});
    EXPECT_TRUE(client.SendFrame(prepare.dump()));
    while (const auto body = client.Receive()) {
        const json message = json::parse(*body);
        if (message["type"] == "READY") {
            RawAudioClient audio;
            if (audio.Connect(message["uri"]) && audio.ReadHeader() && audio.ReadToEnd()) {
                audio.Acknowledge();
            }
        }
        if (message["type"] != "FINISHED") continue;
        EXPECT_NE(message["reason"] == "eof", message["message"] != "") << message;
        return message["reason"] == "eof" ? Outcome::kProgram : Outcome::kSessionFailed;
    }
    ADD_FAILURE() << "no FINISHED";
    return Outcome::kSessionFailed;
}

ExhaustionTest::Outcome ExhaustionTest::RunWithDescriptors(int count) {
    const std::string uri = ReceiverDriver::UniqueUri();
    ChildProcess process("/bin/sh",
                         {"-c", "ulimit -n " + std::to_string(count) + "; exec \"$@\"", "sh",
                          ReceiverDriver::ProgramPath(), uri, folder_.File("limited.log")},
                         ChildProcess::ErrorStream::kCapture);
    if (!process.ReadLine(Soon())) {
        const int code = process.WaitForExit(Soon()).value_or(-1);
        const std::string words = process.ReadAllErrors(Soon()).value_or("");
        // How many the system's loader needs for the libraries is its own affair.
        if (code == 127 && words.find("error while loading shared libraries") != words.npos) {
            return Outcome::kNotLoaded;
        }
        EXPECT_EQ(code, 1);
        EXPECT_THAT(words,
                    testing::AnyOf("Cannot open receiver log\n", "Cannot create instance id\n",
                                   "Control Listen failed\n", "Could not initialize pipe I/O\n",
                                   "Could not create pipe cancellation event\n"));
        return Outcome::kNoStart;
    }
    RawControlClient client;
    Outcome outcome = Outcome::kNoClient;
    if (client.Connect(uri) &&
        client.SendFrame(R"({"requestId":"h","type":"HELLO","version":1})") && client.Receive()) {
        outcome = RunSession(client);
        EXPECT_TRUE(client.SendFrame(R"({"requestId":"s","type":"SHUTDOWN","version":1})"));
        EXPECT_EQ(process.WaitForExit(Soon()).value_or(-1), 0);
        EXPECT_EQ(process.ReadAllErrors(Soon()).value_or("(open)"), "");
    } else {
        // It has no descriptor for the client: it hangs up, listens on, and can be stopped.
        process.Interrupt();
        EXPECT_EQ(process.WaitForExit(Soon()).value_or(-1), 0);
        EXPECT_EQ(process.ReadAllErrors(Soon()).value_or("(open)"), "");
    }
    return outcome;
}

}  // namespace

TEST_F(ExhaustionTest, WithFewDescriptorsEachStepFailsCleanlyUntilThereAreEnough) {
    bool failedToStart = false;
    bool failedInSession = false;
    Outcome outcome = Outcome::kNoStart;
    for (int count = 5; count <= 64 && outcome != Outcome::kProgram; ++count) {
        SCOPED_TRACE(count);
        outcome = RunWithDescriptors(count);
        failedToStart |= outcome == Outcome::kNoStart;
        failedInSession |= outcome == Outcome::kSessionFailed;
    }
    EXPECT_TRUE(failedToStart);
    EXPECT_TRUE(failedInSession);
    EXPECT_EQ(outcome, Outcome::kProgram);
}

TEST_F(ExhaustionTest, AFullDiskBeneathTheLogStopsNoSession) {
    // The log's name carries the second of its opening: each that may be is a link to a
    // device without room.
    const std::time_t now = std::time(nullptr);
    for (std::time_t second = now; second < now + 60; ++second) {
        char suffix[32];
        std::strftime(suffix, sizeof suffix, "_%Y%m%d_%H%M%S", std::localtime(&second));
        std::filesystem::create_symlink("/dev/full",
                                        folder_.Path() / ("full" + std::string(suffix)));
    }
    ReceiverDriver::Options options;
    options.logPath = folder_.File("full");
    ReceiverDriver receiver(options);
    receiver.Introduce();
    const Recording recording = Record(receiver, prepare_);
    EXPECT_EQ(recording.finished["reason"], "eof");
    receiver.Shutdown();
}

TEST_F(ExhaustionTest, TwoHundredSessionsLeaveNoDescriptorAndNoThread) {
    const long pid = static_cast<long>(receiver_.Process().ProcessId());
    const TestPcm jingle = MakeMusic(20, 22050, 1, FramesOf(22050, 650));
    station_.Serve("/short", WavRoute(Concatenate({jingle, MakeMusic(21, 22050, 1, 22050)})));
    const json prepare = PrepareCommand("s", station_.Url("/short"),
                                        {SaveReference("short", "start", jingle)}, 1000, 100);
    std::set<std::string> descriptors;
    size_t threads = 0;
    for (int i = 0; i < 200; ++i) {
        const Recording recording = Record(receiver_, prepare);
        ASSERT_EQ(recording.finished["reason"], "eof") << recording.finished;
        ASSERT_EQ(recording.pcm.size(), 44100u);
        if (i == 0) {  // the first one may leave what the libraries keep for good
            WaitUntilNoSession();
            descriptors = DescriptorsOf(pid);
            threads = ThreadsOf(pid);
        }
    }
    WaitUntilNoSession();
    EXPECT_EQ(DescriptorsOf(pid), descriptors);
    EXPECT_EQ(ThreadsOf(pid), threads);
    EXPECT_FALSE(HasChildren(pid));
}

TEST_F(ExhaustionTest, SessionsThatFailLeaveNoDescriptorAndNoThread) {
    const long pid = static_cast<long>(receiver_.Process().ProcessId());
    StationRoute broken = WavRoute(broadcast_.audio);
    broken.resetAfter = broadcast_.startJingleFrame * 2;
    station_.Serve("/broken", broken);
    StationRoute stalled = WavRoute(broadcast_.audio);
    stalled.headStallAfter = 5;
    station_.Serve("/stalled", stalled);

    const auto runAll = [&] {
        for (const char* path : {"/missing", "/broken"}) {
            json prepare = prepare_;
            prepare["url"] = station_.Url(path);
            EXPECT_EQ(Record(receiver_, prepare).finished["reason"], "error");
        }
        json prepare = prepare_;
        prepare["url"] = station_.Url("/stalled");
        EXPECT_EQ(receiver_.Ask(prepare)["type"], "ACK");
        receiver_.Ask({{"type", "CANCEL"}, {"sessionId", "s"}});
        EXPECT_EQ(receiver_.WaitFor("FINISHED")["reason"], "cancelled");
        // An audio client that goes away, one that never comes, and a control client that does.
        EXPECT_EQ(receiver_.Ask(prepare_)["type"], "ACK");
        RawAudioClient audio;
        EXPECT_TRUE(audio.Connect(receiver_.WaitFor("READY")["uri"]) && audio.ReadHeader());
        audio.Close();
        receiver_.WaitFor("FINISHED");
        EXPECT_EQ(receiver_.Ask(prepare_)["type"], "ACK");
        receiver_.WaitFor("READY");
        receiver_.Disconnect();
        receiver_.Introduce();
        receiver_.Ask({{"type", "CANCEL"}, {"sessionId", "s"}});
        receiver_.WaitFor("FINISHED");
        WaitUntilNoSession();
    };
    runAll();
    const size_t descriptors = DescriptorsOf(pid).size();
    const size_t threads = ThreadsOf(pid);
    for (int i = 0; i < 10; ++i) runAll();
    EXPECT_EQ(DescriptorsOf(pid).size(), descriptors);
    EXPECT_EQ(ThreadsOf(pid), threads);
}

}  // namespace receiver
