// PREPARE on the wire: the bytes of its answers, and which repetition is the same command.
// What a request may hold is shown by the unit tests of the parser.
#include <gtest/gtest.h>

#include <fstream>

#include "testing/receiver_driver.h"
#include "testing/temp_folder.h"

namespace receiver {

using nlohmann::json;

namespace {

class PrepareRequestTest : public testing::Test {
protected:
    PrepareRequestTest() {
        std::ofstream(folder_.File("start")) << "not audio, but it exists";
        receiver_.Introduce();
    }
    ~PrepareRequestTest() override { receiver_.Shutdown(); }

    // Valid in every check, yet over at once: nothing listens on port 1, and the
    // reference is no audio.
    json Valid() const {
        return {{"type", "PREPARE"},
                {"sessionId", "s"},
                {"url", "http://127.0.0.1:1/"},
                {"references",
                 json::array({{{"id", "a"}, {"role", "start"}, {"path", folder_.File("start")}}})}};
    }

    void ExpectRejected(const json& command, const std::string& message) {
        SCOPED_TRACE(command.dump().substr(0, 300));
        const json reply = receiver_.Ask(command);
        EXPECT_EQ(reply["type"], "REJECTED");
        EXPECT_EQ(reply.value("message", ""), message);
    }
    // Accepted, and its session over because the reference is no audio.
    void ExpectAccepted(const json& command) {
        SCOPED_TRACE(command.dump().substr(0, 300));
        const json reply = receiver_.Ask(command);
        ASSERT_EQ(reply["type"], "ACK") << reply;
        EXPECT_EQ(receiver_.WaitFor("FINISHED")["message"], "Reference Open failed");
    }

    TempFolder folder_;
    ReceiverDriver receiver_;
};

}  // namespace

TEST_F(PrepareRequestTest, TheAnswerAndTheFailureOfASessionAreTheseBytes) {
    json command = Valid();
    command["requestId"] = "p";
    command["version"] = 1;
    EXPECT_EQ(receiver_.AskRaw(command.dump()).bytes,
              R"({"command":"PREPARE","requestId":"p","session":{"matches":[],"sequence":0,)"
              R"("sessionId":"s","state":"PREPARING"},"type":"ACK","version":1})");
    EXPECT_EQ(receiver_.NextEventMessage().bytes,
              R"({"canDrain":false,"matches":[],"message":"Reference Open failed",)"
              R"("reason":"error","sequence":1,"sessionId":"s","state":"FINISHED",)"
              R"("type":"FINISHED","version":1})");
}

TEST_F(PrepareRequestTest, ARefusalIsTheseBytes) {
    json command = Valid();
    command["requestId"] = "p";
    command["version"] = 1;
    command["url"] = "ftp://host/";
    EXPECT_EQ(receiver_.AskRaw(command.dump()).bytes,
              R"({"message":"Expected HTTP(S) source","requestId":"p","type":"REJECTED",)"
              R"("version":1})");
    command.erase("url");
    EXPECT_EQ(receiver_.AskRaw(command.dump()).bytes,
              R"({"message":"[json.exception.out_of_range.403] key 'url' not found",)"
              R"("requestId":"p","type":"REJECTED","version":1})");
}

TEST_F(PrepareRequestTest, ARepeatedRequestIdNeedsTheIdenticalCommand) {
    json command = Valid();
    command["requestId"] = "p";
    ExpectAccepted(command);
    ExpectAccepted(command);  // carried out again
    command["url"] = "http://127.0.0.1:2/";
    ExpectRejected(command, "requestId was already used for a different command");
    receiver_.Disconnect();
    receiver_.Introduce();
    ExpectRejected(command, "requestId was already used for a different command");
    ExpectRejected({{"type", "NONE"}, {"requestId", "p"}},
                   "requestId was already used for a different command");
    ExpectRejected({{"type", "SHUTDOWN"}, {"requestId", "p"}},
                   "requestId was already used for a different command");
}

TEST_F(PrepareRequestTest, TheOrderOfKeysAndBlanksDoNotMakeACommandDifferent) {
    const std::string path = json(folder_.File("start")).dump();
    const auto finish = [&] { return receiver_.WaitFor("FINISHED")["reason"]; };
    EXPECT_EQ(receiver_
                  .AskRaw(R"({"requestId":"p","version":1,"type":"PREPARE","sessionId":"s",)"
                          R"("url":"http://127.0.0.1:1/","references":[{"id":"a","role":)"
                          R"("start","path":)" +
                          path + "}]}")
                  .value["type"],
              "ACK");
    EXPECT_EQ(finish(), "error");
    EXPECT_EQ(receiver_
                  .AskRaw(R"({ "references" : [{"path":)" + path +
                          R"(, "role":"start", "id":"a"}], "url":"http://127.0.0.1:1/",)"
                          R"( "sessionId":"s", "type":"PREPARE", "version":1,)"
                          R"( "requestId":"p"})")
                  .value["type"],
              "ACK");
    EXPECT_EQ(finish(), "error");
}

}  // namespace receiver
