// The life of sessions: one after another, cancelled at every stage, left by their client.
#include <gmock/gmock.h>

#include "conformance/session_life_fixture.h"

namespace receiver {

using nlohmann::json;

TEST_P(EveryStageTest, CancelFinishesTheSessionAndTheNextOneRunsCleanly) {
    Reach(GetParam());
    const json reply = Cancel();
    EXPECT_EQ(reply["type"], "ACK");
    EXPECT_EQ(reply["command"], "CANCEL");
    // The snapshot is taken after the stop: a quick worker has finished by then.
    const bool over = reply["session"]["state"] == "FINISHED";
    EXPECT_TRUE(over || reply["session"]["state"] == "CANCELLING") << reply;
    EXPECT_EQ(reply["session"]["canDrain"], false);
    EXPECT_FALSE(reply["session"].contains("uri"));
    const uint64_t sequence = reply["session"]["sequence"];
    const json finished = receiver_.NextEvent();  // and nothing before it
    ASSERT_EQ(finished["type"], "FINISHED") << finished;
    EXPECT_EQ(finished["sequence"], over ? sequence : sequence + 1);
    ExpectCancelled(finished);
    EXPECT_EQ(finished["message"], MessageOf(GetParam()));
    ExpectCleanSession();
}

TEST_P(EveryStageTest, ShutdownStopsTheSessionAndEndsTheProcess) {
    Reach(GetParam());
    EXPECT_EQ(receiver_.Ask({{"type", "SHUTDOWN"}})["type"], "ACK");
    ExpectCancelled(receiver_.WaitFor("FINISHED"));
    receiver_.ExpectCleanEnd();
    EXPECT_THAT(receiver_.LogLines().back(), testing::HasSubstr(" RECEIVER HOST_STOPPED "));
}

TEST_P(EveryStageTest, AnInterruptStopsTheSessionAndLogsItsEnd) {
    Reach(GetParam());
    receiver_.Process().Interrupt();
    receiver_.ExpectCleanEnd();
    const std::vector<std::string> lines = receiver_.LogLines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_THAT(lines.back(), testing::HasSubstr(" RECEIVER HOST_STOPPED "));
    const std::string log = receiver_.LogText();
    EXPECT_THAT(log, testing::HasSubstr(" RECEIVER FINISHED "));
    EXPECT_THAT(log, testing::HasSubstr(" reason=cancelled "));
}

TEST_P(EveryStageTest, AClientThatLeavesFindsItsSessionAgain) {
    Reach(GetParam());
    receiver_.Disconnect();
    const json welcome = receiver_.Introduce();
    ASSERT_TRUE(welcome["active"].is_object()) << welcome;
    EXPECT_EQ(welcome["active"]["sessionId"], "s");
    static constexpr const char* kStates[] = {"PREPARING", "PREPARING", "PREPARING",
                                              "SCANNING",  "READY",     "OPENED"};
    EXPECT_EQ(welcome["active"]["state"], kStates[static_cast<size_t>(GetParam())]);
    EXPECT_EQ(welcome["active"].contains("uri"), GetParam() == Stage::kReady);
    Cancel();
    ExpectCancelled(receiver_.WaitFor("FINISHED"));
}

TEST_P(EveryStageTest, ASecondPrepareIsRefusedAndDoesNotCount) {
    Reach(GetParam());
    const Broadcast broadcast = MakeBroadcast(22050, 1);
    const json prepare =
        PrepareCommand("second", station_.Url(kPath), SaveJingles(broadcast), 60000, 0);
    EXPECT_EQ(receiver_.Ask(prepare)["message"], "Receiver already has an active session");
    EXPECT_EQ(Cancel("second")["message"], "Unknown sessionId");
    Cancel();
    receiver_.WaitFor("FINISHED");
    station_.Serve("/second", WavRoute(broadcast.audio));
    const Recording recording = Record(
        receiver_, PrepareCommand("s2", station_.Url("/second"), SaveJingles(broadcast), 60000, 0));
    EXPECT_EQ(recording.ready["uri"], receiver_.AudioUri(2));
}

namespace {

std::string NameOfStage(const testing::TestParamInfo<Stage>& info) {
    static constexpr const char* kNames[] = {"LoadingReferences", "OpeningSource", "ProbingSource",
                                             "Scanning",          "Ready",         "Serving"};
    return kNames[static_cast<size_t>(info.param)];
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Stages, EveryStageTest,
                         testing::Values(Stage::kLoadingReferences, Stage::kOpeningSource,
                                         Stage::kProbingSource, Stage::kScanning, Stage::kReady,
                                         Stage::kServing),
                         NameOfStage);

TEST_F(SessionLifeTest, SessionsOneAfterAnotherCountInTheirAudioUris) {
    const Broadcast broadcast = MakeBroadcast(22050, 1);
    const std::string url = ServeAll(WavRoute(broadcast.audio));
    const std::vector<ReferenceFile> jingles = SaveJingles(broadcast);
    for (int i = 1; i <= 3; ++i) {
        const Recording recording =
            Record(receiver_, PrepareCommand("same", url, jingles, 60000, 0));
        EXPECT_EQ(recording.ready["uri"], receiver_.AudioUri(i));
        EXPECT_EQ(recording.events.front()["sequence"], 1);
    }
}

TEST_F(SessionLifeTest, CancelIsCarriedOutAgainWhenItIsRepeated) {
    Reach(Stage::kScanning);
    const json cancel = {{"type", "CANCEL"}, {"sessionId", "s"}, {"requestId", "c"}};
    EXPECT_EQ(receiver_.Ask(cancel)["type"], "ACK");
    const json again = receiver_.Ask(cancel);
    // The session may have been reaped in between.
    EXPECT_TRUE(again["type"] == "ACK" || again["message"] == "Unknown sessionId") << again;
    json other = cancel;
    other["sessionId"] = "t";
    EXPECT_EQ(receiver_.Ask(other)["message"],
              "requestId was already used for a different command");
}

TEST_F(SessionLifeTest, CancelAfterTheEndKnowsNoSession) {
    Reach(Stage::kScanning);
    Cancel();
    receiver_.WaitFor("FINISHED");
    json reply = Cancel();
    // Until the next pass of the loop the finished session may still be there.
    if (reply["type"] == "ACK") {
        EXPECT_EQ(reply["session"]["state"], "FINISHED");
        EXPECT_EQ(reply["session"]["reason"], "cancelled");
        reply = Cancel();
    }
    EXPECT_EQ(reply["message"], "Unknown sessionId");
}

TEST_F(SessionLifeTest, EventsWaitForNobodyButGoToTheNextIntroducedClient) {
    Reach(Stage::kReady);
    receiver_.Disconnect();
    const json welcome = receiver_.Introduce();
    ASSERT_EQ(welcome["active"]["state"], "READY");
    const uint64_t sequence = welcome["active"]["sequence"];
    ReleaseRest();
    WaitUntilOutroIsKnown();
    RawAudioClient audio;
    ASSERT_TRUE(audio.Connect(welcome["active"]["uri"]) && audio.ReadHeader() &&
                audio.ReadToEnd() && audio.Acknowledge());
    json event = receiver_.NextEvent();
    EXPECT_EQ(event["sequence"], sequence + 1);
    while (event["type"] != "FINISHED") event = receiver_.NextEvent();
    EXPECT_EQ(event["reason"], "eof");
}

TEST_F(SessionLifeTest, WithoutAnIntroducedClientEventsAreLoggedOnly) {
    Reach(Stage::kReady);
    receiver_.Disconnect();
    ASSERT_TRUE(receiver_.Control().Connect(receiver_.Uri()));  // but says nothing
    RawAudioClient audio;
    ASSERT_TRUE(audio.Connect(receiver_.AudioUri(1)) && audio.ReadHeader());
    ReleaseRest();
    ASSERT_TRUE(audio.ReadToEnd() && audio.Acknowledge() && audio.WaitForHangUp());
    // The next PREPARE is accepted once the session is over; until then HELLO shows it.
    WaitUntilNoSession();
    receiver_.Shutdown();
    EXPECT_THAT(receiver_.LogText(), testing::ContainsRegex("RECEIVER FINISHED .*reason=eof"));
}

TEST_F(SessionLifeTest, TheEventsOfACleanSessionAreTheseBytes) {
    // Start and stream are one: the match is at sample 0, without a differing bit.
    const TestPcm jingle = MakeMusic(7, 22050, 1, FramesOf(22050, 1500));
    const std::string url =
        ServeHalf(WavRoute(Concatenate({jingle, MakeNoise(8, 22050, 1, 22050 * 6)})));
    const json prepare =
        PrepareCommand("the-session", url, {SaveReference("the-start", "start", jingle)}, 1000, 10);
    ASSERT_EQ(receiver_.Ask(prepare)["type"], "ACK");

    EXPECT_EQ(receiver_.NextEventMessage().bytes,
              R"({"sequence":1,"sessionId":"the-session","type":"CONNECTED","version":1})");
    ReceiverDriver::Message message = receiver_.NextEventMessage();
    const std::string ber = message.value["ber"].dump();
    const std::string observed = message.value["observedAfterSample"].dump();
    const std::string sample = message.value["sample"].dump();
    EXPECT_LE(message.value["sample"], 552);
    EXPECT_EQ(message.bytes, R"({"ber":)" + ber + R"(,"observedAfterSample":)" + observed +
                                 R"(,"referenceId":"the-start","role":"start","sample":)" + sample +
                                 R"(,"sequence":2,"sessionId":"the-session","type":"DETECTED",)"
                                 R"("version":1})");
    message = receiver_.NextEventMessage();
    const std::string end = std::to_string(std::stoi(sample) + 44100);
    const std::string program = R"("program":{"endSample":)" + end +
                                R"(,"fadeFrames":441,"reason":"maximum","sampleRate":44100,)"
                                R"("startSample":)" +
                                sample + "}";
    EXPECT_EQ(message.bytes,
              "{" + program +
                  R"(,"sequence":3,"sessionId":"the-session","type":"PROGRAM_END","version":1})");
    EXPECT_EQ(receiver_.NextEventMessage().bytes,
              R"({"sequence":4,"sessionId":"the-session","sourceSample":)" + sample +
                  R"(,"type":"READY","uri":")" + receiver_.AudioUri(1) + R"(","version":1})");

    json snapshot = Snapshot();
    EXPECT_EQ(snapshot["state"], "READY");
    EXPECT_EQ(snapshot["sequence"], 4);
    EXPECT_EQ(snapshot["uri"], receiver_.AudioUri(1));
    ExpectSoundStatistics(snapshot["buffer"]);

    RawAudioClient audio;
    ASSERT_TRUE(audio.Connect(receiver_.AudioUri(1)) && audio.ReadHeader());
    snapshot = Snapshot();
    EXPECT_EQ(snapshot["state"], "OPENED");
    EXPECT_FALSE(snapshot.contains("uri"));
    ASSERT_TRUE(audio.ReadToEnd() && audio.Acknowledge());
    message = receiver_.NextEventMessage();
    const std::string match = R"({"ber":)" + ber + R"(,"observedAfterSample":)" + observed +
                              R"(,"referenceId":"the-start","role":"start","sample":)" + sample +
                              "}";
    EXPECT_EQ(message.bytes,
              R"({"buffer":)" + message.value["buffer"].dump() +
                  R"(,"canDrain":false,"matches":[)" + match + R"(],"message":"",)" + program +
                  R"(,"reason":"eof","sequence":5,"sessionId":"the-session","sourceSample":)" +
                  sample + R"(,"state":"FINISHED","type":"FINISHED","version":1})");
}

}  // namespace receiver
