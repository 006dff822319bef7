// Commands and replies, compared to the byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "testing/receiver_driver.h"

namespace receiver {

using nlohmann::json;

namespace {

std::string Rejected(const std::string& requestId, const std::string& message) {
    return R"({"message":")" + message + R"(","requestId":")" + requestId +
           R"(","type":"REJECTED","version":1})";
}

// A connected client that has not introduced itself yet.
class ControlProtocolTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(receiver_.Control().Connect(receiver_.Uri())); }

    std::string Answer(const std::string& body) { return receiver_.AskRaw(body).bytes; }

    ReceiverDriver receiver_;
};

class IntroducedTest : public ControlProtocolTest {
protected:
    void SetUp() override {
        ControlProtocolTest::SetUp();
        Answer(R"({"requestId":"hello","type":"HELLO","version":1})");
    }
};

}  // namespace

TEST_F(ControlProtocolTest, HelloIsWelcomedWithTheInstanceAndNoSession) {
    const std::string answer = Answer(R"({"requestId":"r-1_Z","type":"HELLO","version":1})");
    EXPECT_TRUE(std::regex_match(
        answer, std::regex(R"(\{"active":null,"instanceId":"[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-)"
                           R"([0-9A-F]{4}-[0-9A-F]{12}","requestId":"r-1_Z","type":"WELCOME",)"
                           R"("version":1\})")))
        << answer;
}

TEST_F(ControlProtocolTest, TheInstanceIsTheSameForEveryClientAndNewForEveryProcess) {
    const std::string first =
        receiver_.AskRaw(R"({"requestId":"a","type":"HELLO","version":1})").value["instanceId"];
    receiver_.Disconnect();
    EXPECT_EQ(receiver_.Introduce()["instanceId"], first);
    ReceiverDriver other;
    EXPECT_NE(other.Introduce()["instanceId"], first);
}

TEST_F(ControlProtocolTest, HelloMayBeRepeatedAlsoWithTheSameRequestIdAndOtherContent) {
    EXPECT_EQ(receiver_.Ask({{"type", "HELLO"}, {"requestId", "h"}})["type"], "WELCOME");
    EXPECT_EQ(receiver_.Ask({{"type", "HELLO"}, {"requestId", "h"}, {"x", 1}})["type"], "WELCOME");
}

TEST_F(ControlProtocolTest, EveryCommandButHelloNeedsAnIntroduction) {
    for (const char* type : {"PREPARE", "CANCEL", "SHUTDOWN", "hello", "NONE", ""}) {
        SCOPED_TRACE(type);
        EXPECT_EQ(Answer(json{{"requestId", "r"}, {"type", type}, {"version", 1}}.dump()),
                  Rejected("r", "HELLO required"));
    }
}

TEST_F(ControlProtocolTest, AnythingButTheInteger1IsAnUnsupportedVersion) {
    for (const char* version : {"2", "0", "-1", "1.0", "1.5", "\"1\"", "true", "null", "[]", "[1]",
                                "{}", "4294967297", "18446744073709551615", "1e0"}) {
        SCOPED_TRACE(version);
        EXPECT_EQ(
            Answer(std::string(R"({"requestId":"r","type":"HELLO","version":)") + version + "}"),
            Rejected("r", "Unsupported protocol version"));
    }
}

TEST_F(ControlProtocolTest, AMissingVersionIsUnsupported) {
    EXPECT_EQ(Answer(R"({"requestId":"r","type":"HELLO"})"),
              Rejected("r", "Unsupported protocol version"));
}

TEST_F(ControlProtocolTest, TheVersionIsCheckedBeforeTheType) {
    EXPECT_EQ(Answer(R"({"requestId":"r"})"), Rejected("r", "Unsupported protocol version"));
}

TEST_F(ControlProtocolTest, AMissingTypeCarriesTheLibrarysText) {
    EXPECT_EQ(Answer(R"({"requestId":"r","version":1})"),
              Rejected("r", "[json.exception.out_of_range.403] key 'type' not found"));
}

TEST_F(ControlProtocolTest, ATypeThatIsNoStringCarriesTheLibrarysText) {
    EXPECT_EQ(Answer(R"({"requestId":"r","version":1,"type":7})"),
              Rejected("r", "[json.exception.type_error.302] type must be string, but is number"));
}

TEST_F(ControlProtocolTest, ARequestIdOfAnotherTypeCarriesTheLibrarysText) {
    for (const auto& [value, name] : {std::pair{"7", "number"},
                                      {"null", "null"},
                                      {"[]", "array"},
                                      {"true", "boolean"},
                                      {"{}", "object"}}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(Answer(std::string(R"({"type":"HELLO","version":1,"requestId":)") + value + "}"),
                  Rejected("", std::string("[json.exception.type_error.302] type must be string, "
                                           "but is ") +
                                   name));
    }
}

TEST_F(ControlProtocolTest, AMissingRequestIdIsInvalid) {
    EXPECT_EQ(Answer(R"({"type":"HELLO","version":1})"), Rejected("", "Invalid requestId"));
}

TEST_F(ControlProtocolTest, TheRequestIdIsCheckedBeforeTheVersion) {
    EXPECT_EQ(Answer("{}"), Rejected("", "Invalid requestId"));
}

TEST_F(ControlProtocolTest, ABadRequestIdIsEchoedAsItWasRead) {
    for (const std::string id : {"a.b", "a b", "\xC3\xA4", "a/b", "\x7F", "a+b"}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(Answer(json{{"requestId", id}, {"type", "HELLO"}, {"version", 1}}.dump()),
                  Rejected(id, "Invalid requestId"));
    }
}

TEST_F(ControlProtocolTest, ARequestIdHas1To80Characters) {
    const std::string longest(80, 'a');
    EXPECT_EQ(receiver_.Ask({{"type", "HELLO"}, {"requestId", longest}})["type"], "WELCOME");
    EXPECT_EQ(receiver_.Ask({{"type", "HELLO"}, {"requestId", longest + "a"}})["message"],
              "Invalid requestId");
    EXPECT_EQ(receiver_.Ask({{"type", "HELLO"}, {"requestId", ""}})["message"],
              "Invalid requestId");
}

TEST_F(ControlProtocolTest, ARequestIdWithAZeroCharacterIsInvalid) {
    EXPECT_EQ(Answer(R"({"requestId":"a\u0000b","type":"HELLO","version":1})"),
              Rejected("a\\u0000b", "Invalid requestId"));
}

TEST_F(IntroducedTest, UnknownCommandsAreNamedSo) {
    for (const char* type : {"NONE", "", "hello", "WELCOME", "prepare", "HELLO "}) {
        SCOPED_TRACE(type);
        EXPECT_EQ(Answer(json{{"requestId", "r"}, {"type", type}, {"version", 1}}.dump()),
                  Rejected("r", "Unknown command"));
    }
}

TEST_F(IntroducedTest, CancelNeedsASession) {
    EXPECT_EQ(Answer(R"({"requestId":"r","type":"CANCEL","version":1,"sessionId":"s"})"),
              Rejected("r", "Unknown sessionId"));
    EXPECT_EQ(Answer(R"({"requestId":"r","type":"CANCEL","version":1,"sessionId":""})"),
              Rejected("r", "Unknown sessionId"));
}

TEST_F(IntroducedTest, CancelWithoutASessionIdCarriesTheLibrarysText) {
    EXPECT_EQ(Answer(R"({"requestId":"r","type":"CANCEL","version":1})"),
              Rejected("r", "[json.exception.out_of_range.403] key 'sessionId' not found"));
}

TEST_F(IntroducedTest, CancelOfASessionIdThatIsNoStringCarriesTheLibrarysText) {
    EXPECT_EQ(Answer(R"({"requestId":"r","type":"CANCEL","version":1,"sessionId":5})"),
              Rejected("r", "[json.exception.type_error.302] type must be string, but is number"));
}

TEST_F(IntroducedTest, ARejectedCommandDoesNotUseUpItsRequestId) {
    EXPECT_EQ(Answer(R"({"requestId":"r","type":"NONE","version":1})"),
              Rejected("r", "Unknown command"));
    EXPECT_EQ(Answer(R"({"requestId":"r","type":"CANCEL","version":1,"sessionId":"s"})"),
              Rejected("r", "Unknown sessionId"));
}

TEST_F(IntroducedTest, ShutdownIsAcknowledged) {
    EXPECT_EQ(Answer(R"({"requestId":"r","type":"SHUTDOWN","version":1})"),
              R"({"command":"SHUTDOWN","requestId":"r","type":"ACK","version":1})");
    receiver_.ExpectCleanEnd();
}

TEST_F(IntroducedTest, UnknownKeysOfACommandAreIgnored) {
    EXPECT_EQ(Answer(R"({"extra":{"a":[1,{}]},"requestId":"r","type":"SHUTDOWN","version":1})"),
              R"({"command":"SHUTDOWN","requestId":"r","type":"ACK","version":1})");
    receiver_.ExpectCleanEnd();
}

TEST_F(IntroducedTest, TheLastOfTwoEqualKeysCounts) {
    EXPECT_EQ(Answer(R"({"requestId":"x","requestId":"r","type":"NONE","version":2,"version":1})"),
              Rejected("r", "Unknown command"));
}

}  // namespace receiver
