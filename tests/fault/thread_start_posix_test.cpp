// A system that has no thread left for one moment of a session.
#include <thread>

#include "fault/failing_calls_posix.h"
#include "testing/receiver_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

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
    FailingCalls calls_;
};

}  // namespace

TEST_F(ThreadStartTest, ASessionWithoutAThreadIsRejectedAndTheNextOneTaken) {
    ReceiverDriver receiver(calls_.Options());
    receiver.Introduce();
    calls_.FailNext(FaultKind::kThread, 1);

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
    ReceiverDriver receiver(calls_.Options());
    receiver.Introduce();
    calls_.FailNext(FaultKind::kThread, 2);
    const json prepare =
        PrepareCommand("s", station_.Url(kPath), SaveJingles(broadcast_), 60000, 0);
    EXPECT_EQ(Record(receiver, prepare).finished["reason"], "eof");
    receiver.Shutdown();
}

TEST_F(ThreadStartTest, AConnectionWithoutAThreadFailsItsSessionAndTheNextOneRuns) {
    ReceiverDriver receiver(calls_.Options());
    receiver.Introduce();
    calls_.FailNext(FaultKind::kThread, 3);

    const Recording first = Record(receiver, Prepare("first"));
    EXPECT_EQ(first.finished["reason"], "error");
    EXPECT_EQ(first.finished["message"], "Network source Open failed");

    EXPECT_EQ(Record(receiver, Prepare("second")).finished["reason"], "eof");
    receiver.Shutdown();
}

TEST_F(ThreadStartTest, ABufferWithoutAThreadFailsItsSessionAndTheNextOneRuns) {
    ReceiverDriver receiver(calls_.Options());
    receiver.Introduce();
    calls_.FailNext(FaultKind::kThread, 2);

    const Recording first = Record(receiver, Prepare("first"));
    EXPECT_EQ(first.finished["reason"], "error");

    EXPECT_EQ(Record(receiver, Prepare("second")).finished["reason"], "eof");
    receiver.Shutdown();
}

}  // namespace receiver
