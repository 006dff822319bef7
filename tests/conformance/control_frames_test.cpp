// Frames on the control pipe: lengths, pieces, garbage, nesting, and lost clients.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testing/receiver_driver.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr char kHello[] = R"({"requestId":"h","type":"HELLO","version":1})";
constexpr char kBadLength[] =
    R"({"message":"Invalid control frame length","requestId":"","type":"REJECTED","version":1})";

class ControlFramesTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(client_.Connect(receiver_.Uri())); }

    std::string Receive() { return client_.Receive().value_or("(nothing)"); }
    std::string TypeReceived() { return json::parse(Receive()).value("type", ""); }
    std::string MessageReceived() { return json::parse(Receive()).value("message", ""); }
    // To a command after HELLO, whose last value is as deep as a frame can hold.
    std::string MessageAfterDeepCommand(const std::string& head) {
        EXPECT_TRUE(client_.SendFrame(kHello));
        EXPECT_EQ(TypeReceived(), "WELCOME");
        const size_t depth = (65536 - head.size() - 1) / 2;
        EXPECT_TRUE(
            client_.SendFrame(head + std::string(depth, '[') + std::string(depth, ']') + "}"));
        return MessageReceived();
    }

    ReceiverDriver receiver_;
    RawControlClient& client_ = receiver_.Control();
};

// A HELLO whose body is exactly `bytes` long.
std::string PaddedHello(size_t bytes) {
    std::string body = R"({"padding":"","requestId":"h","type":"HELLO","version":1})";
    body.insert(12, bytes - body.size(), 'x');
    return body;
}

}  // namespace

TEST_F(ControlFramesTest, AFrameInSinglePiecesIsHandledOnceItsLastByteHasArrived) {
    for (const char byte : RawControlClient::Frame(kHello)) {
        ASSERT_TRUE(client_.Send(std::string_view(&byte, 1)));
    }
    EXPECT_EQ(TypeReceived(), "WELCOME");
}

TEST_F(ControlFramesTest, NothingIsAnsweredBeforeTheLastByte) {
    const std::string frame = RawControlClient::Frame(kHello);
    ASSERT_TRUE(client_.Send(frame.substr(0, frame.size() - 1)));
    EXPECT_FALSE(client_.Receive(/*timeoutMs=*/150).has_value());
    ASSERT_TRUE(client_.Send(frame.substr(frame.size() - 1)));
    EXPECT_EQ(TypeReceived(), "WELCOME");
}

TEST_F(ControlFramesTest, TwoFramesInOneWriteAreAnsweredInOrder) {
    ASSERT_TRUE(client_.Send(
        RawControlClient::Frame(R"({"requestId":"first","type":"HELLO","version":1})") +
        RawControlClient::Frame(R"({"requestId":"second","type":"HELLO","version":1})")));
    EXPECT_EQ(json::parse(Receive())["requestId"], "first");
    EXPECT_EQ(json::parse(Receive())["requestId"], "second");
}

TEST_F(ControlFramesTest, AFrameAndTheStartOfTheNextInOneWriteAreTakenApart) {
    const std::string two = RawControlClient::Frame(kHello) + RawControlClient::Frame(kHello);
    for (const size_t cut : {1u, 2u, 3u, 4u, 5u, 40u}) {
        SCOPED_TRACE(cut);
        ASSERT_TRUE(client_.Send(two.substr(0, two.size() / 2 + cut)));
        EXPECT_EQ(TypeReceived(), "WELCOME");
        ASSERT_TRUE(client_.Send(two.substr(two.size() / 2 + cut)));
        EXPECT_EQ(TypeReceived(), "WELCOME");
    }
}

TEST_F(ControlFramesTest, ABodyOf65536BytesIsAccepted) {
    ASSERT_TRUE(client_.SendFrame(PaddedHello(65536)));
    EXPECT_EQ(TypeReceived(), "WELCOME");
}

TEST_F(ControlFramesTest, ABodyOf65537BytesEndsTheConnection) {
    ASSERT_TRUE(client_.Send(RawControlClient::LengthField(65537)));
    EXPECT_EQ(Receive(), kBadLength);
    EXPECT_TRUE(client_.WaitForHangUp());
}

TEST_F(ControlFramesTest, AnEmptyBodyEndsTheConnection) {
    ASSERT_TRUE(client_.Send(RawControlClient::LengthField(0)));
    EXPECT_EQ(Receive(), kBadLength);
    EXPECT_TRUE(client_.WaitForHangUp());
}

TEST_F(ControlFramesTest, TheLargestLengthFieldEndsTheConnection) {
    ASSERT_TRUE(client_.Send(RawControlClient::LengthField(0xFFFFFFFF)));
    EXPECT_EQ(Receive(), kBadLength);
    EXPECT_TRUE(client_.WaitForHangUp());
}

TEST_F(ControlFramesTest, WhatFollowsABadLengthIsDroppedWithTheConnection) {
    ASSERT_TRUE(client_.Send(RawControlClient::LengthField(0) + RawControlClient::Frame(kHello)));
    EXPECT_EQ(Receive(), kBadLength);
    EXPECT_TRUE(client_.WaitForHangUp());
}

TEST_F(ControlFramesTest, AFrameBeforeABadLengthIsStillAnswered) {
    ASSERT_TRUE(client_.Send(RawControlClient::Frame(kHello) + RawControlClient::LengthField(0)));
    EXPECT_EQ(TypeReceived(), "WELCOME");
    EXPECT_EQ(Receive(), kBadLength);
    EXPECT_TRUE(client_.WaitForHangUp());
}

TEST_F(ControlFramesTest, AfterABadLengthTheReceiverServesTheNextClient) {
    ASSERT_TRUE(client_.Send("GET / HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(Receive(), kBadLength);
    EXPECT_TRUE(client_.WaitForHangUp());
    receiver_.Disconnect();
    EXPECT_EQ(receiver_.Introduce()["type"], "WELCOME");
    receiver_.Shutdown();
}

TEST_F(ControlFramesTest, ABodyThatIsNoJsonIsRejectedAndTheConnectionStays) {
    ASSERT_TRUE(client_.SendFrame("hello"));
    EXPECT_EQ(Receive(),
              R"({"message":"[json.exception.parse_error.101] parse error at line 1, column 1: )"
              R"(syntax error while parsing value - invalid literal; last read: 'h'",)"
              R"("requestId":"","type":"REJECTED","version":1})");
    ASSERT_TRUE(client_.SendFrame(kHello));
    EXPECT_EQ(TypeReceived(), "WELCOME");
}

TEST_F(ControlFramesTest, ACommentIsNoJson) {
    ASSERT_TRUE(client_.SendFrame(R"(/* hi */{"requestId":"h","type":"HELLO","version":1})"));
    EXPECT_THAT(MessageReceived(), testing::StartsWith("[json.exception.parse_error.101]"));
}

TEST_F(ControlFramesTest, TextAfterTheValueIsNoJson) {
    ASSERT_TRUE(client_.SendFrame(std::string(kHello) + "x"));
    EXPECT_THAT(MessageReceived(), testing::StartsWith("[json.exception.parse_error.101]"));
}

TEST_F(ControlFramesTest, IllFormedUtf8ComesBackAsReplacementCharacters) {
    ASSERT_TRUE(client_.SendFrame("\"\xff\""));
    EXPECT_EQ(MessageReceived(),
              "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error "
              "while parsing value - invalid string: ill-formed UTF-8 byte; last read: '\"\xEF"
              "\xBF\xBD'");
    ASSERT_TRUE(client_.SendFrame(kHello));
    EXPECT_EQ(TypeReceived(), "WELCOME");
}

TEST_F(ControlFramesTest, EachByteOfACutSequenceIsReplaced) {
    ASSERT_TRUE(client_.SendFrame("\"\xE2\x82\""));
    EXPECT_THAT(MessageReceived(), testing::HasSubstr("last read: '\"\xEF\xBF\xBD\xEF\xBF\xBD\"'"));
}

TEST_F(ControlFramesTest, ABodyOfZeroBytesInJsonIsRejected) {
    ASSERT_TRUE(client_.SendFrame(std::string_view("\0\0\0\0", 4)));
    EXPECT_THAT(MessageReceived(), testing::StartsWith("[json.exception.parse_error.101]"));
}

TEST_F(ControlFramesTest, ValuesThatAreNoObjectAreExpectedToBeOne) {
    for (const char* body : {"[]", "1", "\"HELLO\"", "null", "true", "-0.5", "[{}]"}) {
        SCOPED_TRACE(body);
        ASSERT_TRUE(client_.SendFrame(body));
        EXPECT_EQ(Receive(),
                  R"({"message":"Expected JSON object","requestId":"","type":"REJECTED",)"
                  R"("version":1})");
    }
}

TEST_F(ControlFramesTest, AnUnclosedFrameOfBracketsIsAnswered) {
    ASSERT_TRUE(client_.SendFrame(std::string(65536, '[')));
    EXPECT_THAT(MessageReceived(), testing::StartsWith("[json.exception.parse_error.101]"));
    ASSERT_TRUE(client_.SendFrame(kHello));
    EXPECT_EQ(TypeReceived(), "WELCOME");
}

TEST_F(ControlFramesTest, TheDeepestArrayIsAnswered) {
    ASSERT_TRUE(client_.SendFrame(std::string(32768, '[') + std::string(32768, ']')));
    EXPECT_EQ(MessageReceived(), "Expected JSON object");
}

TEST_F(ControlFramesTest, TheDeepestObjectIsAnswered) {
    std::string body;
    constexpr int kDepth = 65536 / 6;  // {"":  and }
    for (int i = 0; i < kDepth; ++i) body += R"({"":)";
    body += "1" + std::string(kDepth, '}');
    ASSERT_LE(body.size(), 65536u);
    ASSERT_TRUE(client_.SendFrame(body));
    EXPECT_EQ(MessageReceived(), "Invalid requestId");
}

TEST_F(ControlFramesTest, ADeeplyNestedCommandIsAnswered) {
    EXPECT_EQ(
        MessageAfterDeepCommand(R"({"requestId":"deep","type":"CANCEL","version":1,"sessionId":)"),
        "[json.exception.type_error.302] type must be string, but is array");
}

TEST_F(ControlFramesTest, AnUnknownCommandMayCarryADeeplyNestedValue) {
    EXPECT_EQ(MessageAfterDeepCommand(R"({"requestId":"deep","type":"NONE","version":1,"x":)"),
              "Unknown command");
}

TEST_F(ControlFramesTest, AClientThatLeavesInMidFrameIsForgotten) {
    const std::string frame = RawControlClient::Frame(kHello);
    for (const size_t cut : {size_t{1}, size_t{4}, size_t{5}, frame.size() - 1}) {
        SCOPED_TRACE(cut);
        ASSERT_TRUE(client_.Send(frame.substr(0, cut)));
        client_.Close();
        ASSERT_TRUE(client_.Connect(receiver_.Uri()));
        ASSERT_TRUE(client_.SendFrame(kHello));
        EXPECT_EQ(TypeReceived(), "WELCOME");
    }
}

TEST_F(ControlFramesTest, AClientThatLeavesWithoutReadingItsAnswersIsForgotten) {
    std::string many;
    for (int i = 0; i < 50; ++i) many += RawControlClient::Frame(kHello);
    ASSERT_TRUE(client_.Send(many));
    client_.Close();
    EXPECT_EQ(receiver_.Introduce()["type"], "WELCOME");
    receiver_.Shutdown();
}

TEST_F(ControlFramesTest, AClientThatNeverReadsIsDroppedAndTheNextOneServed) {
    // Its answers fill the pipe until a write takes longer than the receiver waits.
    std::string many;
    for (int i = 0; i < 400; ++i) many += RawControlClient::Frame("x");
    bool sent = true;
    while (sent) sent = client_.Send(many);
    client_.Close();
    EXPECT_EQ(receiver_.Introduce()["type"], "WELCOME");
    receiver_.Shutdown();
}

TEST_F(ControlFramesTest, AnIntroductionEndsWithItsConnection) {
    receiver_.Disconnect();
    receiver_.Introduce();
    receiver_.Disconnect();
    ASSERT_TRUE(client_.Connect(receiver_.Uri()));
    ASSERT_TRUE(client_.SendFrame(R"({"requestId":"n","type":"SHUTDOWN","version":1})"));
    EXPECT_EQ(MessageReceived(), "HELLO required");
}

TEST_F(ControlFramesTest, ManyClientsComeAndGo) {
    client_.Close();
    for (int i = 0; i < 50; ++i) {
        RawControlClient client;
        ASSERT_TRUE(client.Connect(receiver_.Uri())) << i << ": " << client.LastError();
        ASSERT_TRUE(client.SendFrame(kHello));
        ASSERT_TRUE(client.Receive().has_value()) << i;
    }
    receiver_.Introduce();
    receiver_.Shutdown();
}

TEST_F(ControlFramesTest, AShutdownLeavesTheFramesBehindItUnread) {
    ASSERT_TRUE(client_.SendFrame(kHello));
    ASSERT_EQ(TypeReceived(), "WELCOME");
    ASSERT_TRUE(
        client_.Send(RawControlClient::Frame(R"({"requestId":"s","type":"SHUTDOWN","version":1})") +
                     RawControlClient::Frame(kHello)));
    EXPECT_EQ(Receive(), R"({"command":"SHUTDOWN","requestId":"s","type":"ACK","version":1})");
    EXPECT_FALSE(client_.Receive().has_value());
    receiver_.ExpectCleanEnd();
}

}  // namespace receiver
