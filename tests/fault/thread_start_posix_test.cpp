// A system that has no thread left for one moment of a session.
#include <thread>

#include "testing/receiver_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

ReceiverDriver::Options WithFailingThread(int number) {
    ReceiverDriver::Options options;
    options.launcher = {"/usr/bin/env", "LD_PRELOAD=" FAILING_THREAD_LIBRARY,
                        "FAILING_THREAD=" + std::to_string(number),
                        // It must otherwise be the first library of all.
                        "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1"};
    return options;
}

class ThreadStartTest : public ReceiverTest {
protected:
    ThreadStartTest() : broadcast_(MakeBroadcast(22050, 1)) {
        station_.Serve(kPath, WavRoute(broadcast_.audio));
    }

    // A session's thread reads its reference and serves, the buffer's fills it.
    json Prepare(const char* sessionId) {
        return PrepareCommand(sessionId, station_.Url(kPath), {SaveJingles(broadcast_).front()},
                              1000, 0);
    }

    const Broadcast broadcast_;
};

}  // namespace

TEST_F(ThreadStartTest, ASessionWithoutAThreadIsRejectedAndTheNextOneTaken) {
    ReceiverDriver receiver(WithFailingThread(1));
    receiver.Introduce();

    // Acknowledged before its thread is started, rejected when that fails.
    const json reply = receiver.Ask(Prepare("first"));
    EXPECT_EQ(reply["type"], "ACK");
    const json second = json::parse(receiver.Control().Receive().value());
    EXPECT_EQ(second["type"], "REJECTED") << second;
    EXPECT_EQ(second["requestId"], reply["requestId"]);
    EXPECT_NE(second["message"], "");

    EXPECT_EQ(receiver.Ask({{"type", "HELLO"}})["active"], nullptr);
    EXPECT_EQ(Record(receiver, Prepare("second")).finished["reason"], "eof");
    receiver.Shutdown();
}

// Two references are loaded by two threads where there are two processors.
TEST_F(ThreadStartTest, ALoaderWithoutAThreadIsDoneWithout) {
    if (std::thread::hardware_concurrency() < 2) GTEST_SKIP() << "one processor needs no loader";
    ReceiverDriver receiver(WithFailingThread(2));
    receiver.Introduce();
    const json prepare =
        PrepareCommand("s", station_.Url(kPath), SaveJingles(broadcast_), 60000, 0);
    EXPECT_EQ(Record(receiver, prepare).finished["reason"], "eof");
    receiver.Shutdown();
}

TEST_F(ThreadStartTest, AConnectionWithoutAThreadFailsItsSessionAndTheNextOneRuns) {
    ReceiverDriver receiver(WithFailingThread(3));
    receiver.Introduce();

    const Recording first = Record(receiver, Prepare("first"));
    EXPECT_EQ(first.finished["reason"], "error");
    EXPECT_EQ(first.finished["message"], "Network source Open failed");

    EXPECT_EQ(Record(receiver, Prepare("second")).finished["reason"], "eof");
    receiver.Shutdown();
}

TEST_F(ThreadStartTest, ABufferWithoutAThreadFailsItsSessionAndTheNextOneRuns) {
    ReceiverDriver receiver(WithFailingThread(2));
    receiver.Introduce();

    const Recording first = Record(receiver, Prepare("first"));
    EXPECT_EQ(first.finished["reason"], "error");

    EXPECT_EQ(Record(receiver, Prepare("second")).finished["reason"], "eof");
    receiver.Shutdown();
}

}  // namespace receiver
