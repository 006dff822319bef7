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

// Asks for everything.
receiver::PrepareRequest FullRequest() {
    receiver::PrepareRequest request;
    request.sessionId = "s";
    request.url = "http://radio/";
    request.lookBackMs = 60000;
    request.reconnectMs = 0;
    request.reconnectLostOnly = true;
    request.startNow = true;
    request.preRollMs = 0;
    request.report = {true, true, true, true};
    request.http = {"Radio/1", {{"X-Key", "1"}, {"Cookie", "a=b"}}, "/ca.pem"};
    return request;
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

TEST(Messages, ARequestWithoutAdditionsHasNoKeyOfTheirs) {
    receiver::PrepareRequest request;
    request.sessionId = "s";
    request.url = "http://radio/";
    EXPECT_EQ(receiver::ToJson(request),
              json::parse(R"({"sessionId":"s","url":"http://radio/","references":[]})"));
}

TEST(Messages, EveryAdditionIsAKeyOfTheRequest) {
    json sent = receiver::ToJson(FullRequest());
    EXPECT_EQ(sent, json::parse(R"({"sessionId":"s","url":"http://radio/","references":[],
        "lookBackMs":60000,"reconnectMs":0,"reconnectLostOnly":true,"startNow":true,"preRollMs":0,
        "report":["cause","damage","titles","station"],
        "http":{"userAgent":"Radio/1","headers":{"Cookie":"a=b","X-Key":"1"},
                "caFile":"/ca.pem"}})"));
}

TEST(Messages, AdditionsThatTheReceiverDoesNotNameAreMissing) {
    json answer = json::parse(R"({"sessionId":"s","state":"PREPARING","matches":[]})");
    const std::vector<std::string> all = {
        "http",        "lookBackMs", "preRollMs", "reconnectLostOnly",
        "reconnectMs", "report",     "startNow"};
    EXPECT_EQ(receiver::MissingAdditions(FullRequest(), receiver::ParseSnapshot(answer)), all);
    EXPECT_TRUE(receiver::MissingAdditions({}, receiver::ParseSnapshot(answer)).empty());
    answer["additions"] = {"lookBackMs", "reconnectMs",       "startNow",
                           "preRollMs",  "reconnectLostOnly", "later"};
    EXPECT_EQ(receiver::MissingAdditions(FullRequest(), receiver::ParseSnapshot(answer)),
              std::vector<std::string>({"http", "report"}));
    answer["additions"] = all;
    EXPECT_TRUE(receiver::MissingAdditions(FullRequest(), receiver::ParseSnapshot(answer)).empty());
}

TEST(Messages, ASnapshotTellsWhatItsAdditionsBrought) {
    json object = FinishedMessage();
    object.update(json::parse(R"({"additions":["reconnectMs","report"],"servedSample":60,
        "gaps":[{"sample":7,"outageMs":8,"repeatedFrames":9,"lostFrames":10,"attempts":11,
                 "exact":true}],
        "cause":{"kind":"http","text":"the server answers 404 Not Found","status":404}})"));
    const receiver::SessionSnapshot session = receiver::ParseSnapshot(object);
    EXPECT_EQ(session.additions, std::vector<std::string>({"reconnectMs", "report"}));
    EXPECT_EQ(session.servedSample, 60u);
    ASSERT_EQ(session.gaps.size(), 1u);
    EXPECT_EQ(session.gaps[0].sample, 7u);
    EXPECT_EQ(session.gaps[0].attempts, 11u);
    ASSERT_TRUE(session.cause);
    EXPECT_EQ(session.cause->kind, "http");
    EXPECT_EQ(session.cause->status, 404u);
    EXPECT_FALSE(session.cause->referenceId);
}

TEST(Messages, ASnapshotOfABasicSessionHasNothingOfTheAdditions) {
    const receiver::SessionSnapshot session = receiver::ParseSnapshot(FinishedMessage());
    EXPECT_FALSE(session.additions);
    EXPECT_FALSE(session.servedSample);
    EXPECT_TRUE(session.gaps.empty());
    EXPECT_FALSE(session.cause);
}

TEST(Messages, ReadyTellsWithWhichSampleTheAudioBegins) {
    json message = json::parse(
        R"({"type":"READY","sessionId":"s","sequence":4,"uri":"pcm-pipe://a","sourceSample":100})");
    EXPECT_FALSE(std::get<receiver::ReadyEvent>(receiver::ParseEvent(message).body).servedSample);
    message["servedSample"] = 40u;
    EXPECT_EQ(std::get<receiver::ReadyEvent>(receiver::ParseEvent(message).body).servedSample, 40u);
}

TEST(Messages, AFailedSourceTellsItsCause) {
    const receiver::Event event = receiver::ParseEvent(
        json::parse(R"({"type":"SOURCE_ERROR","sessionId":"s","sequence":4,"error":30,
                        "canDrain":true,"sourceEndSample":77,"buffer":{},
                        "cause":{"kind":"reference","text":"it is empty","referenceId":"j"}})"));
    const auto& cause = std::get<receiver::SourceErrorEvent>(event.body).cause;
    ASSERT_TRUE(cause);
    EXPECT_EQ(cause->kind, "reference");
    EXPECT_EQ(cause->text, "it is empty");
    EXPECT_EQ(cause->referenceId, "j");
    EXPECT_FALSE(cause->status);
}

TEST(Messages, AConnectionThatIsBackTellsWhatWasLost) {
    const receiver::Event event = receiver::ParseEvent(
        json::parse(R"({"type":"RESUMED","sessionId":"s","sequence":5,"sample":1,"outageMs":2,
                        "repeatedFrames":3,"lostFrames":4,"attempts":5,"exact":true,
                        "cause":{"kind":"reset","text":"broken off"}})"));
    const auto& resumed = std::get<receiver::ResumedEvent>(event.body);
    EXPECT_EQ(event.sequence, 5u);
    EXPECT_EQ(resumed.resumption.sample, 1u);
    EXPECT_EQ(resumed.resumption.outageMs, 2u);
    EXPECT_EQ(resumed.resumption.repeatedFrames, 3u);
    EXPECT_EQ(resumed.resumption.lostFrames, 4u);
    EXPECT_EQ(resumed.resumption.attempts, 5u);
    EXPECT_TRUE(resumed.resumption.exact);
    ASSERT_TRUE(resumed.cause);
    EXPECT_EQ(resumed.cause->kind, "reset");
}

TEST(Messages, DamageIsTold) {
    const receiver::Event event = receiver::ParseEvent(
        json::parse(R"({"type":"DAMAGED","sessionId":"s","sequence":5,"sample":1,"frames":2,
                        "kind":"discontinuity"})"));
    const auto& damaged = std::get<receiver::DamagedEvent>(event.body);
    EXPECT_EQ(damaged.sample, 1u);
    EXPECT_EQ(damaged.frames, 2u);
    EXPECT_EQ(damaged.kind, "discontinuity");
}

TEST(Messages, ATitleIsTold) {
    const receiver::Event event = receiver::ParseEvent(json::parse(
        R"({"type":"TITLE","sessionId":"s","sequence":5,"sample":1,"title":"Evening"})"));
    const auto& title = std::get<receiver::TitleEvent>(event.body);
    EXPECT_EQ(title.sample, 1u);
    EXPECT_EQ(title.title, "Evening");
}

TEST(Messages, AStationIsTold) {
    const receiver::Event event = receiver::ParseEvent(json::parse(
        R"({"type":"STATION","sessionId":"s","sequence":5,"sample":1,"name":"Radio"})"));
    const auto& station = std::get<receiver::StationEvent>(event.body);
    EXPECT_EQ(station.sample, 1u);
    EXPECT_EQ(station.name, "Radio");
}

}  // namespace receiver
