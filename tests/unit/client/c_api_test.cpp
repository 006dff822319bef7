// receiver_client.h: how its calls map to the library's, and what they refuse.
#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <string>

#include "c_api_fixture.h"

namespace receiver {
using nlohmann::json;

TEST_F(CApiTest, APreparedRequestIsTheCommandOnTheWire) {
    receiver_request request = Request();
    request.io_timeout_ms = 5000;
    request.maximum_ms = 60000;
    request.fade_ms = 3000;
    json sent = Sent(request);
    sent.erase("requestId");
    EXPECT_EQ(sent, json::parse(R"({"type":"PREPARE","version":1,"sessionId":"s",
        "url":"http://radio/","ioTimeoutMs":5000,"program":{"maximumMs":60000,"fadeMs":3000},
        "references":[{"id":"a","role":"start","path":"/a.wav"},
                      {"id":"b","role":"end","path":"/b.wav"}]})"));
}

// A program compiled against an older header has a shorter record.
TEST_F(CApiTest, WhatAShorterRecordLacksIsZero) {
    receiver_request request = Request();
    request.maximum_ms = 60000;
    request.size = offsetof(receiver_request, maximum_ms);
    EXPECT_FALSE(Sent(request).contains("program"));
}

TEST_F(CApiTest, ARequestThatLacksWhatItNeedsIsRefusedInWords) {
    const auto refused = [this](const receiver_request* request) {
        EXPECT_EQ(receiver_client_prepare(client_.get(), request, kPatienceMs),
                  RECEIVER_INVALID_ARGUMENT);
        return std::string(receiver_client_error_text(client_.get()));
    };
    EXPECT_EQ(refused(nullptr), "A record has no size");
    receiver_request request = Request();
    request.size = 0;
    EXPECT_EQ(refused(&request), "A record has no size");
    request = Request();
    request.url = nullptr;
    EXPECT_EQ(refused(&request), "The request has no url");
    request = Request();
    request.references = nullptr;
    EXPECT_EQ(refused(&request), "The request has no references");
}

TEST_F(CApiTest, AMatchIsTold) {
    const receiver_event event = Taken(EventOf("DETECTED", {{"referenceId", "a"},
                                                            {"role", "end"},
                                                            {"sample", 100},
                                                            {"observedAfterSample", 200},
                                                            {"ber", 0.125}}));
    EXPECT_EQ(event.type, RECEIVER_EVENT_DETECTED);
    EXPECT_STREQ(event.type_name, "DETECTED");
    EXPECT_STREQ(event.session_id, "s");
    EXPECT_EQ(event.sequence, 7u);
    EXPECT_STREQ(event.reference_id, "a");
    EXPECT_EQ(event.role, RECEIVER_ROLE_END);
    EXPECT_EQ(event.sample, 100u);
    EXPECT_EQ(event.bit_error_rate, 0.125);
    EXPECT_EQ(event.uri, nullptr);
}

TEST_F(CApiTest, TheProgrammesEndIsTold) {
    const receiver_event event = Taken(EventOf("PROGRAM_END", {{"program",
                                                                {{"startSample", 100},
                                                                 {"endSample", 300},
                                                                 {"sampleRate", 44100},
                                                                 {"fadeFrames", 0},
                                                                 {"reason", "outro"}}}}));
    EXPECT_EQ(event.type, RECEIVER_EVENT_PROGRAM_END);
    EXPECT_EQ(event.start_sample, 100u);
    EXPECT_EQ(event.end_sample, 300u);
    EXPECT_STREQ(event.reason, "outro");
}

TEST_F(CApiTest, TheWayToTheAudioIsTold) {
    const receiver_event event =
        Taken(EventOf("READY", {{"uri", "pcm-pipe://a"}, {"sourceSample", 100}}));
    EXPECT_EQ(event.type, RECEIVER_EVENT_READY);
    EXPECT_STREQ(event.uri, "pcm-pipe://a");
    EXPECT_EQ(event.sample, 100u);
}

TEST_F(CApiTest, AFailedSourceIsTold) {
    const receiver_event event =
        Taken(EventOf("SOURCE_ERROR", {{"error", 30}, {"canDrain", true}, {"sourceEndSample", 9}}));
    EXPECT_EQ(event.type, RECEIVER_EVENT_SOURCE_ERROR);
    EXPECT_EQ(event.error, 30u);
    EXPECT_EQ(event.can_drain, 1);
    EXPECT_EQ(event.end_sample, 9u);
}

TEST_F(CApiTest, TheEndOfTheSessionIsTold) {
    const receiver_event event = Taken(EventOf("FINISHED", {{"state", "FINISHED"},
                                                            {"reason", "error"},
                                                            {"message", "cause"},
                                                            {"matches", json::array()}}));
    EXPECT_EQ(event.type, RECEIVER_EVENT_FINISHED);
    EXPECT_STREQ(event.reason, "error");
    EXPECT_STREQ(event.message, "cause");
}

TEST_F(CApiTest, AnUnknownEventIsItsText) {
    const json message = EventOf("LATER", {{"key", 1}});
    const receiver_event event = Taken(message);
    EXPECT_EQ(event.type, RECEIVER_EVENT_UNKNOWN);
    EXPECT_EQ(json::parse(event.json), message);
}

TEST_F(CApiTest, ARefusalIsItsTextAndAStatusHasWords) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        const json command = p.ReceiveMessage();
        p.SendMessage({{"type", "REJECTED"},
                       {"requestId", command["requestId"]},
                       {"message", "Unknown sessionId"}});
        p.WaitForHangUp();
    });
    ASSERT_EQ(receiver_client_connect(client_.get(), peer.Uri().c_str(), kPatienceMs), RECEIVER_OK);
    const receiver_status status = receiver_client_cancel(client_.get(), "s", kPatienceMs);
    EXPECT_EQ(status, RECEIVER_REJECTED);
    EXPECT_STREQ(receiver_client_error_text(client_.get()), "Unknown sessionId");
    EXPECT_STREQ(receiver_status_text(status), "The receiver refused the command");
}

TEST_F(CApiTest, ARequestToCancelNeedsNoReply) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        if (p.ReceiveMessage().at("type") == "CANCEL") {
            p.SendMessage(EventOf("FINISHED", {{"state", "FINISHED"}, {"matches", json::array()}}));
        }
        p.WaitForHangUp();
    });
    ASSERT_EQ(receiver_client_connect(client_.get(), peer.Uri().c_str(), kPatienceMs), RECEIVER_OK);
    EXPECT_EQ(receiver_client_request_cancel(client_.get(), "s"), RECEIVER_OK);
    const receiver_event* event = nullptr;
    EXPECT_EQ(receiver_client_next_event(client_.get(), kPatienceMs, &event), RECEIVER_OK);
}

TEST_F(CApiTest, TheCancellationEndsAWait) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.WaitForHangUp();
    });
    ASSERT_EQ(receiver_client_connect(client_.get(), peer.Uri().c_str(), kPatienceMs), RECEIVER_OK);
    TestTask canceller("the canceller", [this] { receiver_cancellation_signal(stop_.get()); });
    const receiver_event* event = nullptr;
    EXPECT_EQ(receiver_client_next_event(client_.get(), kPatienceMs, &event), RECEIVER_CANCELLED);
    canceller.Get();
}

TEST_F(CApiTest, AConnectionThatIsLostHasItsNumber) {
    FakePeer peer([](FakePeer& p) { p.Welcome(); });
    ASSERT_EQ(receiver_client_connect(client_.get(), peer.Uri().c_str(), kPatienceMs), RECEIVER_OK);
    const receiver_event* event = nullptr;
    EXPECT_EQ(receiver_client_next_event(client_.get(), kPatienceMs, &event),
              RECEIVER_DISCONNECTED);
    EXPECT_EQ(receiver_client_error_code(client_.get()), 109u);
    EXPECT_EQ(receiver_client_event_descriptor(client_.get()), -1);
}

TEST_F(CApiTest, HelloGivesTheWelcomeAsText) {
    FakePeer peer([](FakePeer& p) {
        p.Welcome();
        p.Welcome();
        p.WaitForHangUp();
    });
    ASSERT_EQ(receiver_client_connect(client_.get(), peer.Uri().c_str(), kPatienceMs), RECEIVER_OK);
    const char* welcome = nullptr;
    ASSERT_EQ(receiver_client_hello(client_.get(), kPatienceMs, &welcome), RECEIVER_OK);
    EXPECT_EQ(json::parse(welcome)["instanceId"], "INSTANCE");
}

TEST_F(CApiTest, NullIsAnInvalidArgumentEverywhere) {
    EXPECT_EQ(receiver_client_connect(nullptr, "", 0), RECEIVER_INVALID_ARGUMENT);
    EXPECT_EQ(receiver_client_connect(client_.get(), nullptr, 0), RECEIVER_INVALID_ARGUMENT);
    EXPECT_EQ(receiver_client_next_event(client_.get(), 0, nullptr), RECEIVER_INVALID_ARGUMENT);
    EXPECT_EQ(receiver_client_request_cancel(client_.get(), nullptr), RECEIVER_INVALID_ARGUMENT);
    EXPECT_EQ(receiver_client_cancel(client_.get(), nullptr, 0), RECEIVER_INVALID_ARGUMENT);
    const receiver_request request = Request();
    EXPECT_EQ(receiver_client_record(client_.get(), &request, nullptr, nullptr),
              RECEIVER_INVALID_ARGUMENT);
    EXPECT_EQ(receiver_client_is_connected(nullptr), 0);
    EXPECT_STREQ(receiver_client_error_text(nullptr), "");
    receiver_client_disconnect(nullptr);
    receiver_client_destroy(nullptr);
    receiver_cancellation_signal(nullptr);

    const Owned<receiver_audio> audio(receiver_audio_create(nullptr));
    size_t bytes = 0;
    EXPECT_EQ(receiver_audio_read(audio.get(), nullptr, 4, 0, &bytes), RECEIVER_INVALID_ARGUMENT);
    EXPECT_EQ(receiver_audio_open(audio.get(), nullptr, 0, nullptr, nullptr),
              RECEIVER_INVALID_ARGUMENT);
    EXPECT_EQ(receiver_audio_acknowledge(nullptr, 0), RECEIVER_INVALID_ARGUMENT);
}

TEST_F(CApiTest, AReceiverThatCannotBeStartedSaysWhy) {
    const Owned<receiver_process> process(receiver_process_create(nullptr));
    EXPECT_EQ(receiver_process_control_uri(process.get()), nullptr);
    EXPECT_EQ(receiver_process_start(process.get(), "no/such/program", "a.log", kPatienceMs),
              RECEIVER_SYSTEM);
    EXPECT_STRNE(receiver_process_error_text(process.get()), "");
    int code = 0;
    EXPECT_EQ(receiver_process_wait(process.get(), 0, &code), RECEIVER_INVALID_ARGUMENT);
    EXPECT_EQ(receiver_process_start(process.get(), "no/such/program", "a.log", kPatienceMs),
              RECEIVER_INVALID_ARGUMENT);
}

TEST_F(CApiTest, AudioArrivesInWholeFramesUpToItsEnd) {
    FakePeer peer([](FakePeer& p) {
        // A stereo stream of one frame, with the token 7.
        const std::string stream(
            "PCM1\1\0\0\0\x28\0\0\0\x44\xAC\0\0\2\0\x10\0\0\0\0\0"
            "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\7\0\0\0\0\0\0\0"
            "\1\0\0\0\4\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1\2\3\4"
            "\2\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0",
            40 + 24 + 4 + 24);
        p.Send(stream);
        char acknowledgement[16];
        p.Receive(acknowledgement, sizeof(acknowledgement));
    });
    const Owned<receiver_audio> audio(receiver_audio_create(stop_.get()));
    uint32_t rate = 0;
    uint16_t channels = 0;
    ASSERT_EQ(receiver_audio_open(audio.get(), peer.Uri().c_str(), kPatienceMs, &rate, &channels),
              RECEIVER_OK)
        << receiver_audio_error_text(audio.get());
    EXPECT_EQ(rate, 44100u);
    EXPECT_EQ(channels, 2u);
    char pcm[100];
    size_t bytes = 0;
    ASSERT_EQ(receiver_audio_read(audio.get(), pcm, sizeof(pcm), kPatienceMs, &bytes), RECEIVER_OK);
    EXPECT_EQ(std::string(pcm, bytes), "\1\2\3\4");
    EXPECT_EQ(receiver_audio_read(audio.get(), pcm, sizeof(pcm), kPatienceMs, &bytes),
              RECEIVER_END);
    EXPECT_EQ(receiver_audio_acknowledge(audio.get(), kPatienceMs), RECEIVER_OK);
}

TEST(CApi, EveryStatusHasWordsOfItsOwn) {
    std::set<std::string> texts;
    for (int status = RECEIVER_OK; status <= RECEIVER_UNSUPPORTED; ++status) {
        texts.insert(receiver_status_text(static_cast<receiver_status>(status)));
    }
    EXPECT_EQ(texts.size(), size_t{RECEIVER_UNSUPPORTED} + 1);
    EXPECT_FALSE(texts.contains("Unknown status"));
}

}  // namespace receiver
