// The log file as it lies on the disk: the form of a line, levels, flattening, quoting.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "testing/receiver_driver.h"

namespace receiver {

using nlohmann::json;

namespace {

struct Line {
    std::string level, message;
};

Line Parse(const std::string& text) {
    // The level is right-aligned in 12 characters: "LOG ERROR" has three blanks in front.
    static const std::regex line(
        R"(Process : 0x[0-9a-f]{4,} : Thread : 0x[0-9a-f]{2,} : Time : )"
        R"(\d\d:\d\d:\d\d ms:\d{3} : Level : (    LOG INFO|   LOG ERROR) : Message : )");
    std::smatch match;
    if (!std::regex_search(text, match, line, std::regex_constants::match_continuous)) {
        ADD_FAILURE() << "not the form of a line: " << text;
        return {};
    }
    return {match[1], match.suffix()};
}

// The digits of tickMs and processId vary.
std::string WithoutNumbers(const std::string& message) {
    return std::regex_replace(message, std::regex("(tickMs|processId)=[0-9]+"), "$1=#");
}

class ReceiverLogTest : public testing::Test {
protected:
    // The messages in the log, after a clean end.
    std::vector<Line> LinesAtTheEnd() {
        receiver_.Shutdown();
        std::vector<Line> lines;
        for (const std::string& text : receiver_.LogLines()) {
            lines.push_back(Parse(text));
            lines.back().message = WithoutNumbers(lines.back().message);
        }
        return lines;
    }
    std::vector<std::string> ErrorsAtTheEnd() {
        std::vector<std::string> errors;
        for (const Line& line : LinesAtTheEnd()) {
            if (line.level == "   LOG ERROR") errors.push_back(line.message);
        }
        return errors;
    }

    ReceiverDriver receiver_;
};

}  // namespace

TEST_F(ReceiverLogTest, ASessionlessRunLeavesExactlyTheseLines) {
    receiver_.Introduce();
    std::vector<std::string> messages;
    for (const Line& line : LinesAtTheEnd()) {
        EXPECT_EQ(line.level, "    LOG INFO");
        messages.push_back(line.message);
    }
    EXPECT_THAT(messages,
                testing::ElementsAre(
                    "RECEIVER CONTROL_CONNECTED processId=# tickMs=#",
                    "RECEIVER WELCOME active=null instanceId=" + receiver_.InstanceId() +
                        " processId=# requestId=r1 tickMs=# version=1",
                    "RECEIVER ACK command=SHUTDOWN processId=# requestId=r2 tickMs=# version=1",
                    "RECEIVER HOST_STOPPED processId=# tickMs=#"));
}

TEST_F(ReceiverLogTest, ALostClientIsLogged) {
    receiver_.Introduce();
    receiver_.Disconnect();
    receiver_.Introduce();
    std::vector<std::string> types;
    for (const Line& line : LinesAtTheEnd()) {
        types.push_back(
            std::regex_replace(line.message, std::regex("RECEIVER ([A-Z_]+) .*"), "$1"));
    }
    EXPECT_THAT(types, testing::ElementsAre("CONTROL_CONNECTED", "WELCOME", "CONTROL_DISCONNECTED",
                                            "CONTROL_CONNECTED", "WELCOME", "ACK", "HOST_STOPPED"));
}

TEST_F(ReceiverLogTest, ARejectionIsAnErrorAndItsTextQuoted) {
    receiver_.Introduce();
    receiver_.Ask({{"type", "NONE"}, {"requestId", "r"}});
    EXPECT_THAT(ErrorsAtTheEnd(),
                testing::ElementsAre("RECEIVER REJECTED message=\"Unknown command\" processId=# "
                                     "requestId=r tickMs=# version=1"));
}

TEST_F(ReceiverLogTest, AnEmptyTextIsLeftUnquoted) {
    receiver_.Introduce();
    receiver_.AskRaw("[]");
    EXPECT_THAT(ErrorsAtTheEnd(),
                testing::ElementsAre("RECEIVER REJECTED message=\"Expected JSON object\" "
                                     "processId=# requestId= tickMs=# version=1"));
}

TEST_F(ReceiverLogTest, QuotesAndLineEndsAreEscaped) {
    receiver_.Introduce();
    receiver_.Ask({{"type", "HELLO"}, {"requestId", "a\"b\nc\rd\\e"}});
    EXPECT_THAT(ErrorsAtTheEnd(),
                testing::ElementsAre("RECEIVER REJECTED message=\"Invalid requestId\" processId=# "
                                     "requestId=\"a\\\"b\\nc\\rd\\e\" tickMs=# version=1"));
}

TEST_F(ReceiverLogTest, AnEqualsSignIsQuoted) {
    receiver_.Introduce();
    receiver_.Ask({{"type", "HELLO"}, {"requestId", "a=b"}});
    EXPECT_THAT(ErrorsAtTheEnd(),
                testing::ElementsAre("RECEIVER REJECTED message=\"Invalid requestId\" processId=# "
                                     "requestId=\"a=b\" tickMs=# version=1"));
}

TEST_F(ReceiverLogTest, ABackslashAloneNeedsNoQuotes) {
    receiver_.Introduce();
    receiver_.Ask({{"type", "HELLO"}, {"requestId", "a\\b"}});
    EXPECT_THAT(ErrorsAtTheEnd(),
                testing::ElementsAre("RECEIVER REJECTED message=\"Invalid requestId\" processId=# "
                                     "requestId=a\\b tickMs=# version=1"));
}

TEST_F(ReceiverLogTest, ATextOfTheSizeOfAFrameIsLoggedInOnePiece) {
    receiver_.Introduce();
    const std::string id(60000, '.');
    receiver_.Ask({{"type", "HELLO"}, {"requestId", id}});
    EXPECT_THAT(ErrorsAtTheEnd(),
                testing::ElementsAre("RECEIVER REJECTED message=\"Invalid requestId\" processId=# "
                                     "requestId=" +
                                     id + " tickMs=# version=1"));
}

TEST_F(ReceiverLogTest, EachLineIsInTheFileBeforeItsMessageIsOnThePipe) {
    receiver_.Introduce();
    EXPECT_THAT(receiver_.LogText(), testing::HasSubstr(" RECEIVER WELCOME "));
}

}  // namespace receiver
