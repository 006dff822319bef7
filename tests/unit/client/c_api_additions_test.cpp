// receiver_client.h: what a request may ask for besides, and what is told then.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "c_api_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

class CApiAdditionsTest : public CApiTest {
protected:
    receiver_request FullRequest() const {
        receiver_request request = Request();
        request.look_back_ms = 60000;
        request.reconnect_ms = 300000;
        request.pre_roll_ms = 500;
        request.start_now = 1;
        request.reconnect_lost_only = 1;
        request.report = RECEIVER_REPORT_CAUSE | RECEIVER_REPORT_DAMAGE | RECEIVER_REPORT_TITLES |
                         RECEIVER_REPORT_STATION;
        request.user_agent = "Radio/1";
        request.headers = headers_;
        request.header_count = std::size(headers_);
        request.ca_file = "/ca.pem";
        return request;
    }
    std::string Refusal(const receiver_request& request) const {
        EXPECT_EQ(receiver_client_prepare(client_.get(), &request, kPatienceMs),
                  RECEIVER_INVALID_ARGUMENT);
        return receiver_client_error_text(client_.get());
    }

    receiver_header headers_[2] = {{"X-Key", "1"}, {"Cookie", "a=b"}};
};

const json kCause = {{"kind", "http"}, {"text", "the server answers 503"}, {"status", 503}};

}  // namespace

TEST_F(CApiAdditionsTest, EveryMemberIsItsKeyOnTheWire) {
    const json sent = Sent(FullRequest());
    EXPECT_EQ(sent.at("lookBackMs"), 60000);
    EXPECT_EQ(sent.at("reconnectMs"), 300000);
    EXPECT_EQ(sent.at("preRollMs"), 500);
    EXPECT_EQ(sent.at("startNow"), true);
    EXPECT_EQ(sent.at("reconnectLostOnly"), true);
    EXPECT_EQ(sent.at("report"), json({"cause", "damage", "titles", "station"}));
    EXPECT_EQ(sent.at("http"), json::parse(R"({"userAgent":"Radio/1","caFile":"/ca.pem",
        "headers":{"X-Key":"1","Cookie":"a=b"}})"));
}

// The record that a program was compiled with before there were additions: whatever lies behind
// it is not the library's to read.
TEST_F(CApiAdditionsTest, ARequestOfTheSizeBeforeThemAsksForNone) {
    receiver_request request = FullRequest();
    request.size = offsetof(receiver_request, look_back_ms);
    json sent = Sent(request);
    sent.erase("requestId");
    EXPECT_EQ(sent, json::parse(R"({"type":"PREPARE","version":1,"sessionId":"s",
        "url":"http://radio/","references":[{"id":"a","role":"start","path":"/a.wav"},
                                            {"id":"b","role":"end","path":"/b.wav"}]})"));
    EXPECT_STREQ(receiver_client_missing_additions(client_.get()), "");
}

// The receiver that the test plays acknowledges without naming any.
TEST_F(CApiAdditionsTest, WhatTheReceiverDoesNotKnowIsNamed) {
    receiver_request request = Request();
    request.pre_roll_ms = 500;
    request.reconnect_ms = 1000;
    Sent(request);
    EXPECT_STREQ(receiver_client_missing_additions(client_.get()), "preRollMs, reconnectMs");
    Sent(Request());
    EXPECT_STREQ(receiver_client_missing_additions(client_.get()), "");
    EXPECT_STREQ(receiver_client_missing_additions(nullptr), "");
}

TEST_F(CApiAdditionsTest, WhatCannotBeExpressedIsRefusedInWords) {
    receiver_request request = FullRequest();
    request.report = 16;
    EXPECT_EQ(Refusal(request), "The request has an unknown report");
    request = FullRequest();
    request.headers = nullptr;
    EXPECT_EQ(Refusal(request), "The request has no headers");
    headers_[1] = {"X-Key", "2"};
    EXPECT_EQ(Refusal(FullRequest()), "The request has a header twice");
    headers_[1] = {"X-Other", nullptr};
    EXPECT_EQ(Refusal(FullRequest()), "The request has no header value");
}

TEST_F(CApiAdditionsTest, TheFirstSampleOfTheAudioIsTold) {
    json ready = EventOf("READY", {{"uri", "pcm-pipe://a"}, {"sourceSample", 100}});
    EXPECT_EQ(Taken(ready).served_sample, 100u);
    ready["servedSample"] = 60u;
    const receiver_event event = Taken(ready);
    EXPECT_EQ(event.served_sample, 60u);
    EXPECT_EQ(event.sample, 100u);
}

TEST_F(CApiAdditionsTest, AConnectionThatIsBackIsTold) {
    const receiver_event event = Taken(EventOf("RESUMED", {{"sample", 1},
                                                           {"outageMs", 2},
                                                           {"repeatedFrames", 3},
                                                           {"lostFrames", 4},
                                                           {"attempts", 5},
                                                           {"exact", true},
                                                           {"cause", kCause}}));
    EXPECT_EQ(event.type, RECEIVER_EVENT_RESUMED);
    EXPECT_EQ(event.sample, 1u);
    EXPECT_EQ(event.outage_ms, 2u);
    EXPECT_EQ(event.repeated_frames, 3u);
    EXPECT_EQ(event.lost_frames, 4u);
    EXPECT_EQ(event.attempts, 5u);
    EXPECT_EQ(event.exact, 1);
    EXPECT_STREQ(event.cause_kind, "http");
    EXPECT_EQ(event.cause_status, 503u);
}

TEST_F(CApiAdditionsTest, DamageIsTold) {
    const receiver_event event =
        Taken(EventOf("DAMAGED", {{"sample", 1}, {"frames", 2}, {"kind", "discontinuity"}}));
    EXPECT_EQ(event.type, RECEIVER_EVENT_DAMAGED);
    EXPECT_EQ(event.sample, 1u);
    EXPECT_EQ(event.lost_frames, 2u);
    EXPECT_STREQ(event.damage_kind, "discontinuity");
}

TEST_F(CApiAdditionsTest, ATitleIsTold) {
    const receiver_event event = Taken(EventOf("TITLE", {{"sample", 1}, {"title", "Evening"}}));
    EXPECT_EQ(event.type, RECEIVER_EVENT_TITLE);
    EXPECT_EQ(event.sample, 1u);
    EXPECT_STREQ(event.title, "Evening");
}

TEST_F(CApiAdditionsTest, AStationIsTold) {
    const receiver_event event = Taken(EventOf("STATION", {{"sample", 1}, {"name", "Radio"}}));
    EXPECT_EQ(event.type, RECEIVER_EVENT_STATION);
    EXPECT_EQ(event.sample, 1u);
    EXPECT_STREQ(event.station, "Radio");
}

TEST_F(CApiAdditionsTest, TheCauseOfAFailureIsTold) {
    const json failed = {{"error", 30}, {"canDrain", false}, {"sourceEndSample", 9}};
    EXPECT_EQ(Taken(EventOf("SOURCE_ERROR", failed)).cause_kind, nullptr);
    json withCause = failed;
    withCause["cause"] = kCause;
    const receiver_event source = Taken(EventOf("SOURCE_ERROR", withCause));
    EXPECT_STREQ(source.cause_kind, "http");
    EXPECT_STREQ(source.cause_text, "the server answers 503");
    EXPECT_EQ(source.cause_reference_id, nullptr);
    const receiver_event finished = Taken(EventOf(
        "FINISHED",
        {{"state", "FINISHED"},
         {"matches", json::array()},
         {"cause", {{"kind", "reference"}, {"text", "it is empty"}, {"referenceId", "a"}}}}));
    EXPECT_STREQ(finished.cause_kind, "reference");
    EXPECT_STREQ(finished.cause_reference_id, "a");
    EXPECT_EQ(finished.cause_status, 0u);
}

// A result of the size before there was a pre-roll is not written beyond.
TEST_F(CApiAdditionsTest, AShorterResultKeepsWhatLiesBehindIt) {
    const receiver_request request = Request();
    receiver_sink sink{};
    sink.size = sizeof(sink);
    receiver_result result{};
    result.size = offsetof(receiver_result, served_sample);
    result.served_sample = 4711;
    EXPECT_EQ(receiver_client_record(client_.get(), &request, &sink, &result),
              RECEIVER_DISCONNECTED);
    EXPECT_EQ(result.served_sample, 4711u);
    result.size = sizeof(result);
    EXPECT_EQ(receiver_client_record(client_.get(), &request, &sink, &result),
              RECEIVER_DISCONNECTED);
    EXPECT_EQ(result.served_sample, 0u);
}

}  // namespace receiver
