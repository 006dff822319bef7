// What PREPARE refuses, in which words, and which fault wins when there are several.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "testing/receiver_driver.h"
#include "testing/temp_folder.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr char kNotFound[] = "[json.exception.out_of_range.403] key ";
constexpr char kWrongType[] = "[json.exception.type_error.302] type must be ";
constexpr char kNoObject[] = "[json.exception.type_error.304] cannot use at() with ";

class PrepareRequestTest : public testing::Test {
protected:
    PrepareRequestTest() {
        std::ofstream(folder_.File("start")) << "not audio, but it exists";
        receiver_.Introduce();
    }
    ~PrepareRequestTest() override { receiver_.Shutdown(); }

    json Reference(const std::string& id = "a", const std::string& role = "start") const {
        return {{"id", id}, {"role", role}, {"path", folder_.File("start")}};
    }
    // Valid in every check, yet over at once: nothing listens on port 1, and the
    // reference is no audio.
    json Valid() const {
        return {{"type", "PREPARE"},
                {"sessionId", "s"},
                {"url", "http://127.0.0.1:1/"},
                {"references", json::array({Reference()})}};
    }
    json With(const char* key, const json& value) const {
        json command = Valid();
        command[key] = value;
        return command;
    }
    json Without(const char* key) const {
        json command = Valid();
        command.erase(key);
        return command;
    }
    json WithReference(const char* key, const json& value) const {
        json command = Valid();
        command["references"][0][key] = value;
        return command;
    }
    json WithProgram(const json& maximumMs, const json& fadeMs) const {
        return With("program", {{"maximumMs", maximumMs}, {"fadeMs", fadeMs}});
    }
    json WithReferences(size_t count) const {
        json command = With("references", json::array());
        for (size_t i = 0; i < count; ++i) {
            command["references"].push_back(Reference("r" + std::to_string(i)));
        }
        return command;
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

TEST_F(PrepareRequestTest, TheSmallestRequestIsAccepted) {
    ExpectAccepted(Valid());
}

TEST_F(PrepareRequestTest, UnknownKeysAreIgnored) {
    ExpectAccepted(With("more", {{"a", 1}}));
}

TEST_F(PrepareRequestTest, TheSessionIdIsRequiredAsAStringOf1To80Characters) {
    ExpectRejected(Without("sessionId"), std::string(kNotFound) + "'sessionId' not found");
    ExpectRejected(With("sessionId", 5), std::string(kWrongType) + "string, but is number");
    for (const std::string id : {"", "a b", "a.b", "a/b", "\xC3\xA4", "a\nb"}) {
        ExpectRejected(With("sessionId", id), "Invalid sessionId");
    }
    ExpectRejected(With("sessionId", std::string(81, 'a')), "Invalid sessionId");
    ExpectAccepted(With("sessionId", std::string(80, 'Z')));
}

TEST_F(PrepareRequestTest, TheUrlIsRequiredAsHttpOrHttps) {
    ExpectRejected(Without("url"), std::string(kNotFound) + "'url' not found");
    ExpectRejected(With("url", nullptr), std::string(kWrongType) + "string, but is null");
    for (const char* url : {"", "HTTP://host/", "Https://host/", "ftp://host/", "http:/host/",
                            "file:///etc/passwd", " http://host/", "http:", "https:/"}) {
        ExpectRejected(With("url", url), "Expected HTTP(S) source");
    }
    ExpectRejected(With("url", "http://" + std::string(4090, 'a')), "Expected HTTP(S) source");
    ExpectAccepted(With("url", "http://" + std::string(4089, 'a')));
    ExpectAccepted(With("url", "http://"));
    ExpectAccepted(With("url", "https://"));
}

TEST_F(PrepareRequestTest, TheIoTimeoutIsANumberFrom100To60000) {
    for (const json& value : {json(99), json(60001), json(-1), json(0), json(99.99), json(1e300),
                              json(-1e300), json(18446744073709551615u)}) {
        ExpectRejected(With("ioTimeoutMs", value), "ioTimeoutMs outside 100..60000");
    }
    ExpectRejected(With("ioTimeoutMs", true), std::string(kWrongType) + "number, but is boolean");
    ExpectRejected(With("ioTimeoutMs", "100"), std::string(kWrongType) + "number, but is string");
    ExpectRejected(With("ioTimeoutMs", nullptr), std::string(kWrongType) + "number, but is null");
    for (const json& value : {json(100), json(60000), json(100.9), json(60000.9)}) {
        ExpectAccepted(With("ioTimeoutMs", value));
    }
}

TEST_F(PrepareRequestTest, TheBlockSizeIsANumberFrom4To1048576) {
    for (const json& value : {json(3), json(1048577), json(-1), json(3.9), json(4294967300)}) {
        ExpectRejected(With("blockBytes", value), "blockBytes outside 4..1048576");
    }
    ExpectRejected(With("blockBytes", false), std::string(kWrongType) + "number, but is boolean");
    ExpectAccepted(With("blockBytes", 4));
    ExpectAccepted(With("blockBytes", 1048576));
}

TEST_F(PrepareRequestTest, TheProgramNeedsBothItsNumbers) {
    ExpectRejected(With("program", 5), std::string(kNoObject) + "number");
    ExpectRejected(With("program", nullptr), std::string(kNoObject) + "null");
    ExpectRejected(With("program", json::array()), std::string(kNoObject) + "array");
    ExpectRejected(With("program", json::object()),
                   std::string(kNotFound) + "'maximumMs' not found");
    ExpectRejected(With("program", {{"maximumMs", 1000}}),
                   std::string(kNotFound) + "'fadeMs' not found");
    ExpectRejected(With("program", {{"maximumMs", "1000"}}),
                   std::string(kWrongType) + "number, but is string");
    ExpectRejected(WithProgram(1000, nullptr), std::string(kWrongType) + "number, but is null");
}

TEST_F(PrepareRequestTest, TheMaximumIsFrom1000To3600000) {
    for (const json& value :
         {json(999), json(3600001), json(-1), json(true), json(999.9), json(1e300), json(-1e300)}) {
        ExpectRejected(WithProgram(value, 0), "Invalid program maximumMs");
    }
    ExpectAccepted(WithProgram(1000, 0));
    ExpectAccepted(WithProgram(3600000, 0));
    ExpectAccepted(WithProgram(1000.9, 0));
    ExpectAccepted(WithProgram(4294967296 + 1000, 0));  // taken as 32 bits
}

TEST_F(PrepareRequestTest, TheFadeIsAtMost3600000) {
    for (const json& value : {json(3600001), json(-1), json(1e300)}) {
        ExpectRejected(WithProgram(1000, value), "Invalid program fadeMs");
    }
    ExpectAccepted(WithProgram(1000, 3600000));
    ExpectAccepted(WithProgram(1000, true));
    ExpectAccepted(WithProgram(1000, false));
}

TEST_F(PrepareRequestTest, TheReferencesAreAnArrayOf1To32) {
    ExpectRejected(Without("references"), std::string(kNotFound) + "'references' not found");
    ExpectRejected(With("references", json::array()), "Expected 1..32 references");
    ExpectRejected(With("references", json::object()), "Expected 1..32 references");
    ExpectRejected(With("references", "start"), "Expected 1..32 references");
    ExpectRejected(With("references", nullptr), "Expected 1..32 references");
    ExpectRejected(WithReferences(33), "Expected 1..32 references");
    ExpectAccepted(WithReferences(32));
}

TEST_F(PrepareRequestTest, AReferenceNeedsIdRoleAndPathAsStrings) {
    ExpectRejected(With("references", {1}), std::string(kNoObject) + "number");
    for (const char* key : {"id", "role", "path"}) {
        json command = Valid();
        command["references"][0].erase(key);
        ExpectRejected(command, std::string(kNotFound) + "'" + key + "' not found");
        ExpectRejected(WithReference(key, 1), std::string(kWrongType) + "string, but is number");
    }
}

TEST_F(PrepareRequestTest, AReferenceIdIsOneOfAKind) {
    for (const std::string id : {"", "a b", "a.b", "\xC3\xA4"}) {
        ExpectRejected(WithReference("id", id), "Invalid or duplicate reference id");
    }
    ExpectRejected(WithReference("id", std::string(81, 'a')), "Invalid or duplicate reference id");
    ExpectRejected(With("references", {Reference("a"), Reference("a")}),
                   "Invalid or duplicate reference id");
    ExpectAccepted(With("references", {Reference("a"), Reference("A")}));
}

TEST_F(PrepareRequestTest, ARoleIsStartEndOrOther) {
    for (const char* role : {"Start", "", "END", "outro"}) {
        ExpectRejected(WithReference("role", role), "Invalid reference role");
    }
    ExpectAccepted(
        With("references", {Reference("a", "other"), Reference("b", "end"), Reference("c")}));
}

TEST_F(PrepareRequestTest, APathNamesAnExistingFile) {
    for (const std::string& path : {std::string(), std::string("file:///tmp/a"),
                                    std::string("/tmp/a://b"), std::string(4097, 'a')}) {
        ExpectRejected(WithReference("path", path), "Expected reference file path");
    }
    ExpectRejected(WithReference("path", folder_.File("missing")), "Reference file does not exist");
    ExpectRejected(WithReference("path", folder_.Path().string()), "Reference file does not exist");
    ExpectRejected(WithReference("path", std::string(4096, 'a')), "Reference file does not exist");
}

TEST_F(PrepareRequestTest, AStartReferenceIsRequired) {
    ExpectRejected(WithReference("role", "end"), "A start reference is required");
    ExpectRejected(With("references", {Reference("a", "end"), Reference("b", "other")}),
                   "A start reference is required");
}

TEST_F(PrepareRequestTest, ALaterBadReferenceIsReportedBeforeTheMissingStart) {
    ExpectRejected(With("references", {Reference("a", "end"), Reference("b", "bad")}),
                   "Invalid reference role");
}

TEST_F(PrepareRequestTest, TheFirstFaultInTheOrderOfTheChecksIsReported) {
    json command = {{"type", "PREPARE"},
                    {"sessionId", ""},
                    {"url", ""},
                    {"ioTimeoutMs", "x"},
                    {"blockBytes", 3},
                    {"program", json::object()},
                    {"references", {{{"id", ""}, {"role", "x"}, {"path", ""}}}}};
    ExpectRejected(command, "Invalid sessionId");
    command["sessionId"] = "s";
    ExpectRejected(command, "Expected HTTP(S) source");
    command["url"] = "http://x";
    ExpectRejected(command, std::string(kWrongType) + "number, but is string");
    command["ioTimeoutMs"] = 99;
    command["blockBytes"] = "y";  // its type is looked at before the range of the other
    ExpectRejected(command, std::string(kWrongType) + "number, but is string");
    command["blockBytes"] = 3;
    ExpectRejected(command, "ioTimeoutMs outside 100..60000");
    command["ioTimeoutMs"] = 100;
    ExpectRejected(command, "blockBytes outside 4..1048576");
    command["blockBytes"] = 4;
    ExpectRejected(command, std::string(kNotFound) + "'maximumMs' not found");
    command["program"] = {{"maximumMs", 1}};
    ExpectRejected(command, std::string(kNotFound) + "'fadeMs' not found");
    command["program"]["fadeMs"] = -1;
    ExpectRejected(command, "Invalid program maximumMs");
    command["program"]["maximumMs"] = 1000;
    ExpectRejected(command, "Invalid program fadeMs");
    command["program"]["fadeMs"] = 0;
    ExpectRejected(command, "Invalid or duplicate reference id");
    command["references"][0]["id"] = "a";
    ExpectRejected(command, "Invalid reference role");
    command["references"][0]["role"] = "end";
    ExpectRejected(command, "Expected reference file path");
    command["references"][0]["path"] = folder_.File("start");
    ExpectRejected(command, "A start reference is required");
    command["references"][0]["role"] = "start";
    ExpectAccepted(command);
}

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
