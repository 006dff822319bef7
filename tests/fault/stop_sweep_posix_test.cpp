// A stop that comes at a certain step of the session's thread: it is held there, at each of the
// locks that it takes one after the other, until the stop has been acknowledged.
#include <gmock/gmock.h>

#include <set>

#include "fault/failing_calls_posix.h"
#include "platform/error_codes.h"
#include "testing/receiver_fixture.h"
#include "wire/messages.h"

namespace receiver {

using nlohmann::json;

namespace {

class StopSweepTest : public ReceiverTest {
protected:
    StopSweepTest() : held_(calls_.Options()) {
        const auto music = [](uint64_t seed, uint32_t ms) {
            return MakeMusic(seed, 22050, 1, FramesOf(22050, ms));
        };
        const TestPcm jingle = music(2, 650);
        // As much as a stream is opened with, and a little, comes before the jingle.
        route_ = WavRoute(Concatenate({music(1, 6000), jingle, music(3, 600)}));
        route_.gated = true;
        prepare_ =
            PrepareCommand("s", station_.Url(kPath), {SaveReference("start", "start", jingle)});
        held_.Introduce();
    }

    // A session that hears the start only when the station is released.
    void StartSession() {
        station_.Serve(kPath, route_);
        station_.Release(kPath, 2 * FramesOf(22050, 5500));
        const Patience patience("the end of the last session");
        while (held_.Ask(prepare_)["type"] != kReplyAck) patience.Check();
    }
    // Takes what the receiver says until the session's thread is held; true if it is.
    bool IsHeldBefore(const std::string& event);
    // Stops the session, lets its thread go on, and returns what FINISHED says.
    std::string StopAndRelease();

    FailingCalls calls_;
    ReceiverDriver held_;
    StationRoute route_;
    json prepare_;
};

bool StopSweepTest::IsHeldBefore(const std::string& event) {
    constexpr uint32_t kStepMs = 10;
    const Patience patience("a thread that is held, or " + event);
    while (!calls_.HasHappened()) {
        patience.Check();
        const auto body = held_.Control().Receive(kStepMs);
        if (body && json::parse(*body)["type"] == event) return false;
    }
    return true;
}

std::string StopSweepTest::StopAndRelease() {
    // The host may wait for a lock that the thread holds; then the stop comes a little later.
    constexpr uint32_t kStepMs = 50;
    RawControlClient& client = held_.Control();
    EXPECT_TRUE(
        client.SendFrame(R"({"requestId":"c","type":"CANCEL","sessionId":"s","version":1})"));
    const Patience patience("the end of a stopped session");
    while (true) {
        patience.Check();
        const auto body = client.Receive(kStepMs);
        const json message = body ? json::parse(*body) : json::object();
        if (!body || message["type"] == kReplyAck) calls_.Release();
        if (message.value("type", "") != kEventFinished) continue;
        EXPECT_EQ(message["reason"], kReasonCancelled);
        return message["message"];
    }
}

}  // namespace

TEST_F(StopSweepTest, AStopAtAnyStepUpToTheDetectionEndsWithThatStepsText) {
    std::set<std::string> texts;
    int detecting = 0;
    for (int64_t number = 1; detecting < 4; ++number) {
        SCOPED_TRACE(number);
        calls_.FailNext(FaultKind::kLock, number, "session");
        StartSession();
        ASSERT_TRUE(IsHeldBefore(kEventReady));
        const std::string text = StopAndRelease();
        texts.insert(text);
        if (text == kFinishedStoppedDetecting) ++detecting;
    }
    EXPECT_THAT(texts, testing::ElementsAre(kFinishedCancelledBeforeOpen, kFinishedCancelledLoading,
                                            kFinishedCancelledOpening, kFinishedSourceOpen,
                                            kFinishedStoppedDetecting));
    held_.Shutdown();
}

TEST_F(StopSweepTest, AStopAtAnyStepFromTheDetectionToReadyEndsWithThatStepsText) {
    std::vector<std::string> texts;
    bool isReady = false;
    for (int64_t number = 1; !isReady; ++number) {
        SCOPED_TRACE(number);
        StartSession();
        held_.WaitFor(kEventConnected);
        // Its wait for the start takes a lock before the start comes, and none while it waits.
        calls_.FailNext(FaultKind::kLock, number, "session");
        station_.ReleaseAll(kPath);
        isReady = !IsHeldBefore(kEventReady);
        calls_.Stop();
        const std::string text = StopAndRelease();
        // On its way to the wait; the other test shows that.
        if (text == kFinishedStoppedDetecting) continue;
        if (texts.empty() || texts.back() != text) texts.push_back(text);
    }
    const std::string stoppedServing =
        kFinishedAudioPrefix + std::to_string(kErrorCancelled) + std::string(")");
    EXPECT_THAT(texts, testing::ElementsAre(kFinishedPcmUnavailable, kFinishedSeek,
                                            kFinishedStoppedBeforeReady, stoppedServing));
    held_.Shutdown();
}

}  // namespace receiver
