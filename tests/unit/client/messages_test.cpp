#include "client/message_json.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

using nlohmann::json;

json FinishedMessage() {
    return json::parse(R"({
        "type": "FINISHED", "version": 1, "sessionId": "s", "sequence": 9,
        "state": "FINISHED", "reason": "eof", "message": "", "canDrain": false,
        "sourceSample": 100, "newKey": {"a": [1]},
        "matches": [{"referenceId": "j", "role": "start", "sample": 100,
                     "observedAfterSample": 200, "ber": 0.125}],
        "program": {"startSample": 100, "endSample": 44200, "sampleRate": 44100,
                    "fadeFrames": 10, "reason": "maximum"},
        "buffer": {"receivedBytes": 1, "retainedBytes": 2, "peakRetainedBytes": 3, "readBytes": 4,
                   "readSample": 5, "firstSample": 6, "nextSample": 7, "availableBytes": 8,
                   "sampleRate": 44100, "blockAlign": 4, "blocks": 9, "error": 30,
                   "finished": true, "ownerThread": 10}})");
}

}  // namespace

TEST(Messages, FinishedCarriesTheWholeSnapshot) {
    const receiver::Event event = receiver::ParseEvent(FinishedMessage());
    EXPECT_EQ(event.sequence, 9u);
    const auto& session = std::get<receiver::FinishedEvent>(event.body).session;
    EXPECT_EQ(session.reason, "eof");
    EXPECT_EQ(session.sourceSample, 100u);
    ASSERT_EQ(session.matches.size(), 1u);
    EXPECT_EQ(session.matches[0].referenceId, "j");
    EXPECT_EQ(session.matches[0].ber, 0.125);
    ASSERT_TRUE(session.program);
    EXPECT_EQ(session.program->endSample, 44200u);
    EXPECT_EQ(session.program->fadeFrames, 10u);
    ASSERT_TRUE(session.buffer);
    EXPECT_EQ(session.buffer->availableBytes, 8u);
    EXPECT_EQ(session.buffer->nextSample, 7u);
    EXPECT_EQ(session.buffer->error, 30u);
    EXPECT_TRUE(session.buffer->finished);
}

TEST(Messages, KeysThatAreNotKnownAreKept) {
    const receiver::Event event = receiver::ParseEvent(FinishedMessage());
    const json key = {{"a", {1}}};
    EXPECT_EQ(json::parse(event.raw)["newKey"], key);
    EXPECT_EQ(json::parse(std::get<receiver::FinishedEvent>(event.body).session.raw)["newKey"],
              key);
}

TEST(Messages, AnEventOfAnUnknownTypeNeedsNothingButItsType) {
    const receiver::Event event = receiver::ParseEvent({{"type", "LATER"}, {"sessionId", 5}});
    EXPECT_TRUE(std::holds_alternative<receiver::UnknownEvent>(event.body));
    EXPECT_EQ(event.type, "LATER");
    EXPECT_EQ(event.sessionId, "");
    EXPECT_EQ(json::parse(event.raw)["sessionId"], 5);
}

TEST(Messages, SourceErrorTellsWhetherTheBufferIsStillServed) {
    const receiver::Event event = receiver::ParseEvent(
        json::parse(R"({"type":"SOURCE_ERROR","sessionId":"s","sequence":4,"error":30,
                        "canDrain":true,"sourceEndSample":77,"buffer":{}})"));
    const auto& error = std::get<receiver::SourceErrorEvent>(event.body);
    EXPECT_EQ(error.error, 30u);
    EXPECT_TRUE(error.canDrain);
    EXPECT_EQ(error.sourceEndSample, 77u);
}

TEST(Messages, AMissingKeyOfAKnownEventThrows) {
    json event = FinishedMessage();
    event.erase("state");
    EXPECT_ANY_THROW(receiver::ParseEvent(event));
}

TEST(Messages, ANumberBeyondItsRangeThrows) {
    json event = FinishedMessage();
    event["buffer"]["sampleRate"] = 1ULL << 32;
    EXPECT_ANY_THROW(receiver::ParseEvent(event));
}

TEST(Messages, EveryRoleHasItsNameOnTheWire) {
    receiver::PrepareRequest request;
    request.references = {{"a", receiver::Role::kStart, "1"},
                          {"b", receiver::Role::kEnd, "2"},
                          {"c", receiver::Role::kOther, "3"}};
    const json references = receiver::ToJson(request)["references"];
    EXPECT_EQ(references[0]["role"], "start");
    EXPECT_EQ(references[1]["role"], "end");
    EXPECT_EQ(references[2]["role"], "other");
}

}  // namespace receiver
