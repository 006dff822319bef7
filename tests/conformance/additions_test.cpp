// What a PREPARE may ask for besides, seen from outside.
#include "testing/receiver_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

class AdditionsTest : public ReceiverTest {
protected:
    static json With(json request, const json& additions) {
        request.update(additions);
        return request;
    }
    static uint64_t Sample(const json& value) { return value.get<uint64_t>(); }

    const Broadcast broadcast_ = MakeBroadcast(44100, 2);
};

}  // namespace

TEST_F(AdditionsTest, ThePreRollIsTheStreamBeforeTheStartAndMovesNothing) {
    StationRoute route = WavRoute(broadcast_.audio);
    const TestPcm decoded = Decode(route.body);
    const std::string url = ServeAll(std::move(route));
    const Recording recording =
        Record(receiver_, With(PrepareCommand("s", url, SaveJingles(broadcast_), 2000, 500),
                               {{"preRollMs", 300}, {"lookBackMs", 1000}}));
    EXPECT_EQ(recording.acknowledged["additions"], json({"lookBackMs", "preRollMs"}));
    const uint64_t start = Sample(recording.ready["sourceSample"]);
    const uint64_t served = Sample(recording.ready["servedSample"]);
    EXPECT_EQ(served, start - 13230);
    EXPECT_EQ(recording.finished["servedSample"], served);
    EXPECT_EQ(recording.finished["program"]["startSample"], start);
    EXPECT_EQ(recording.finished["program"]["endSample"], start + 88200);
    EXPECT_TRUE(recording.pcm == WithFade(decoded.Range(served, start + 88200), 2, 22050));
}

TEST_F(AdditionsTest, AProgrammeThatStartsNowIsTheStreamFromItsFirstSample) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.body = EncodeAudio(broadcast_.audio, AudioCoding::kMp3);
    route.icyMetaInterval = 8000;
    route.icyTitles = {"One", "", "", "Two"};
    const TestPcm decoded = Decode(route.body);
    const std::string url = ServeAll(std::move(route));
    const Recording recording =
        Record(receiver_, With(PrepareCommand("s", url, {}, 3000, 0),
                               {{"startNow", true}, {"report", {"titles", "damage", "cause"}}}));
    EXPECT_EQ(recording.ready["sourceSample"], 0);
    EXPECT_FALSE(recording.ready.contains("servedSample"));
    EXPECT_TRUE(recording.pcm == decoded.Range(0, 3 * 44100));
    EXPECT_EQ(recording.finished["reason"], "eof");
    EXPECT_FALSE(recording.finished.contains("cause"));
    ASSERT_GE(recording.All("TITLE").size(), 1u);
    EXPECT_EQ(recording.All("TITLE")[0]["title"], "One");
    EXPECT_TRUE(recording.All("DAMAGED").empty());
}

TEST_F(AdditionsTest, WhoAsksForNothingIsToldNothingMore) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.body = EncodeAudio(broadcast_.audio, AudioCoding::kMp3);
    route.body.erase(route.body.size() / 2, 3001);
    route.icyMetaInterval = 8000;
    const std::string url = ServeAll(std::move(route));
    const Recording recording =
        Record(receiver_, PrepareCommand("s", url, SaveJingles(broadcast_), 2000, 0));
    EXPECT_TRUE(recording.All("TITLE").empty());
    EXPECT_TRUE(recording.All("DAMAGED").empty());
    for (const char* key : {"additions", "gaps", "servedSample", "cause"}) {
        EXPECT_FALSE(recording.acknowledged.contains(key)) << key;
        EXPECT_FALSE(recording.ready.contains(key)) << key;
        EXPECT_FALSE(recording.finished.contains(key)) << key;
    }
}

TEST_F(AdditionsTest, DamageInTheProgrammeIsTold) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.body = EncodeAudio(broadcast_.audio, AudioCoding::kMp3);
    route.body.erase(route.body.size() / 2, 3001);
    const std::string url = ServeHalf(std::move(route));
    const Recording recording = Record(
        receiver_,
        With(PrepareCommand("s", url, SaveJingles(broadcast_), 60000, 0), {{"report", {"damage"}}}),
        [this] {
            ReleaseRest();
            WaitUntilSourceFinished();
        });
    ASSERT_EQ(recording.All("DAMAGED").size(), 1u);
    EXPECT_EQ(recording.All("DAMAGED")[0]["kind"], "undecodable");
    EXPECT_EQ(recording.finished["reason"], "eof");
}

TEST_F(AdditionsTest, WhatIsSaidToTheServerReachesNoLog) {
    StationRoute route = WavRoute(broadcast_.audio);
    const std::string url = ServeAll(std::move(route));
    Record(receiver_, With(PrepareCommand("s", url, SaveJingles(broadcast_), 1000, 0),
                           {{"http",
                             {{"userAgent", "Secret-Agent"},
                              {"headers", {{"X-Secret-Name", "secret-value"}}}}}}));
    ASSERT_EQ(station_.RequestHeads(kPath).size(), 1u);
    EXPECT_NE(station_.RequestHeads(kPath)[0].find("X-Secret-Name: secret-value"),
              std::string::npos);
    EXPECT_EQ(receiver_.LogText().find("ecret"), std::string::npos);
}

}  // namespace receiver
