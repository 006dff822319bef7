// Sentences of docs/protocol.md that no other test of this folder shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "conformance/session_life_fixture.h"

namespace receiver {

using nlohmann::json;

class ProtocolPageTest : public SessionLifeTest {
protected:
    json Prepare() {
        const Broadcast broadcast = MakeBroadcast(44100, 2);
        return PrepareCommand("s", ServeHalf(WavRoute(broadcast.audio)), SaveJingles(broadcast),
                              60000, 0);
    }
    std::string RefusalOf(const json& command) {
        const json reply = receiver_.Ask(command);
        EXPECT_EQ(reply["type"], "REJECTED") << reply;
        return reply.value("message", "");
    }
};

TEST_F(ProtocolPageTest, AnOptionalKeyIsLeftOutAndNullIsRefused) {
    for (const char* key : {"ioTimeoutMs", "blockBytes"}) {
        json prepare = Prepare();
        prepare[key] = nullptr;
        EXPECT_THAT(RefusalOf(prepare), testing::HasSubstr("type must be number, but is null"));
    }
    json prepare = Prepare();
    prepare["program"] = nullptr;
    EXPECT_THAT(RefusalOf(prepare), testing::HasSubstr("cannot use at() with null"));
    prepare.erase("program");
    EXPECT_EQ(receiver_.Ask(prepare)["type"], "ACK");
}

TEST_F(ProtocolPageTest, TheIdOfAHelloIsFreeForAnyOtherCommand) {
    json hello = {{"type", "HELLO"}, {"requestId", "twice"}};
    EXPECT_EQ(receiver_.Ask(hello)["type"], "WELCOME");
    json prepare = Prepare();
    prepare["requestId"] = "twice";
    EXPECT_EQ(receiver_.Ask(prepare)["type"], "ACK");
    // Now it is remembered, but not for HELLO.
    EXPECT_EQ(RefusalOf({{"type", "CANCEL"}, {"sessionId", "s"}, {"requestId", "twice"}}),
              "requestId was already used for a different command");
    EXPECT_EQ(receiver_.Ask(hello)["type"], "WELCOME");
}

TEST_F(ProtocolPageTest, ANumberSpelledInAnotherWayMakesAnotherCommand) {
    Reach(Stage::kReady);
    const std::string head = R"({"type":"CANCEL","version":1,"requestId":"c","sessionId":"s",)";
    EXPECT_EQ(receiver_.AskRaw(head + R"("note":1})").value["type"], "ACK");
    EXPECT_EQ(receiver_.AskRaw(head + R"("note":1.0})").value["message"],
              "requestId was already used for a different command");
}

TEST_F(ProtocolPageTest, AnAckOfCancelShowsTheSessionAsItIsThen) {
    Reach(Stage::kServing);
    const json session = Cancel()["session"];
    EXPECT_EQ(session["canDrain"], false);
    EXPECT_FALSE(session.contains("uri"));
    if (session["state"] == "CANCELLING") {
        EXPECT_FALSE(session.contains("reason"));
    } else {
        // The session was quicker than the reply.
        EXPECT_EQ(session["state"], "FINISHED");
        EXPECT_EQ(session["reason"], "cancelled");
    }
}

// What arose is in `active` of the next WELCOME; sequence tells that events were missed.
TEST_F(ProtocolPageTest, WhatNobodyWasToldIsInActive) {
    const json prepare = Prepare();
    ASSERT_EQ(receiver_.Ask(prepare)["type"], "ACK");
    receiver_.Disconnect();
    ASSERT_TRUE(receiver_.Control().Connect(receiver_.Uri()));  // without HELLO
    // The audio pipe is there once READY, which nobody is sent, has arisen.
    ASSERT_TRUE(audio_.Connect(receiver_.AudioUri(1)) && audio_.ReadHeader());
    // What had arisen before the first of these was answered has been dealt with at the second.
    for (int i = 0; i < 2; ++i) EXPECT_EQ(RefusalOf({{"type", "SHUTDOWN"}}), "HELLO required");
    const json active = Snapshot();
    EXPECT_EQ(active["state"], "OPENED");
    EXPECT_EQ(active["matches"].size(), 1u);
    EXPECT_TRUE(active["program"].is_object());
    const uint64_t missed = active["sequence"];
    EXPECT_GE(missed, 4u);  // CONNECTED, DETECTED, PROGRAM_END, READY
    EXPECT_EQ(Cancel()["type"], "ACK");
    EXPECT_EQ(receiver_.NextEvent()["sequence"], missed + 1);
}

TEST_F(ProtocolPageTest, AfterAnInterruptTheControlConnectionEndsWithoutFinished) {
    Reach(Stage::kServing);
    receiver_.Process().Interrupt();
    while (const auto body = receiver_.Control().Receive()) {
        EXPECT_NE(json::parse(*body)["type"], "FINISHED");
    }
    EXPECT_EQ(receiver_.Control().LastError(), 109u);
    receiver_.ExpectCleanEnd();
    EXPECT_THAT(receiver_.LogText(), testing::HasSubstr(" RECEIVER FINISHED "));
}

// The source never pauses for as long as ioTimeoutMs; the block is just not full in that time.
TEST_F(ProtocolPageTest, ABlockThatDoesNotFillWithinIoTimeoutMsIsAnError) {
    constexpr size_t kBlock = 1048576;
    constexpr size_t kPiece = 16;
    StationRoute route = WavRoute(MakeNoise(1006, 44100, 2, FramesOf(44100, 20000)));
    route.gated = true;
    station_.Serve(kPath, std::move(route));
    size_t released = 600000;  // enough to open it, and not enough for a block
    station_.Release(kPath, released);
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    json prepare = PrepareCommand("s", station_.Url(kPath), SaveJingles(broadcast));
    prepare["blockBytes"] = kBlock;
    prepare["ioTimeoutMs"] = 500;
    ASSERT_EQ(receiver_.Ask(prepare)["type"], "ACK");
    const Patience patience("the end of the session");
    while (Snapshot().is_object()) {
        patience.Check();
        ASSERT_LT(released, kBlock);
        released += kPiece;
        station_.Release(kPath, kPiece);
    }
    const json finished = receiver_.WaitFor("FINISHED");
    EXPECT_EQ(finished["reason"], "error");
    EXPECT_EQ(finished["buffer"]["error"], 30) << finished;
}

// The log's folder is the working folder's, as any relative path.
TEST_F(ProtocolPageTest, ARelativeLogPathCountsFromTheWorkingFolder) {
    const TempFolder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    {
        ReceiverDriver::Options options;
        options.logPath = "here.log";
        ReceiverDriver receiver(options);
        receiver.Introduce();
        receiver.Shutdown();
    }
    std::filesystem::current_path(before);
    size_t logs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
        EXPECT_TRUE(entry.path().filename().string().starts_with("here_")) << entry.path();
        ++logs;
    }
    EXPECT_EQ(logs, 1u);
}

// Only the end of the connection ends it, which nobody can tell from its loss.
TEST_F(ProtocolPageTest, ASourceWithoutLengthOrChunksEndsInAnError) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    StationRoute route;
    route.contentType = MimeTypeOf(AudioCoding::kMp3);
    route.body = EncodeAudio(broadcast.audio, AudioCoding::kMp3);
    route.framing = BodyFraming::kUntilClose;
    const Recording recording =
        Record(receiver_, PrepareCommand("s", ServeAll(std::move(route)), SaveJingles(broadcast)));
    EXPECT_EQ(recording.finished["reason"], "error");
    EXPECT_EQ(recording.end.type, 3u);
}

// Where each number of the table stands that can be brought about from outside.
TEST_F(ProtocolPageTest, TheNumbersTellHowTheAudioPipeEnded) {
    const auto endOf = [this](const std::function<void(RawAudioClient&)>& behave) {
        const Broadcast broadcast = MakeBroadcast(44100, 2);
        EXPECT_EQ(receiver_.Ask(PrepareCommand("n", ServeAll(WavRoute(broadcast.audio)),
                                               SaveJingles(broadcast), 60000, 0))["type"],
                  "ACK");
        RawAudioClient client;
        EXPECT_TRUE(client.Connect(receiver_.WaitFor("READY")["uri"]) && client.ReadHeader());
        behave(client);
        return receiver_.WaitFor("FINISHED")["message"].get<std::string>();
    };
    const auto message = [](int code) {
        return "Audio connection or source ended with an error (pipe=" + std::to_string(code) + ")";
    };
    EXPECT_EQ(endOf([](RawAudioClient& client) { EXPECT_TRUE(client.ReadToEnd()); }), message(1460))
        << "no acknowledgement";
    EXPECT_THAT(endOf([](RawAudioClient& client) { client.Close(); }),
                testing::AnyOf(message(109), message(232)))
        << "gone in the middle";
    EXPECT_EQ(endOf([this](RawAudioClient& client) {
                  EXPECT_TRUE(client.ReadRecord());
                  Cancel("n");
              }),
              message(995))
        << "cancelled";
}

}  // namespace receiver
