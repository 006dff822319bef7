// What a PREPARE may ask for besides, seen from outside.
#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>

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

    // A body that breaks off at `end` for the first listener, and begins at `begin` for the
    // next: what a server's burst repeats.
    static StationRoute BreakingRoute(const std::string& body, size_t end, size_t begin) {
        StationRoute route;
        route.contentType = MimeTypeOf(AudioCoding::kMp3);
        route.framing = BodyFraming::kUntilClose;
        const auto listeners = std::make_shared<std::atomic<int>>(0);
        route.tuneIn = [=] {
            const std::string heard =
                (*listeners)++ == 0 ? body.substr(0, end) : body.substr(begin);
            return [heard, at = size_t{0}]() mutable {
                const std::string piece = heard.substr(std::min(at, heard.size()), 4096);
                at += piece.size();
                return piece;
            };
        };
        return route;
    }

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
    route.headers = {{"icy-name", "Radio"}};
    const TestPcm decoded = Decode(route.body);
    const std::string url = ServeAll(std::move(route));
    const Recording recording =
        Record(receiver_,
               With(PrepareCommand("s", url, {}, 3000, 0),
                    {{"startNow", true}, {"report", {"titles", "damage", "cause", "station"}}}));
    EXPECT_EQ(recording.ready["sourceSample"], 0);
    EXPECT_FALSE(recording.ready.contains("servedSample"));
    EXPECT_TRUE(recording.pcm == decoded.Range(0, 3 * 44100));
    EXPECT_EQ(recording.finished["reason"], "eof");
    EXPECT_FALSE(recording.finished.contains("cause"));
    ASSERT_GE(recording.All("TITLE").size(), 1u);
    EXPECT_EQ(recording.All("TITLE")[0]["title"], "One");
    ASSERT_EQ(recording.All("STATION").size(), 1u);
    EXPECT_EQ(recording.All("STATION")[0]["name"], "Radio");
    EXPECT_TRUE(recording.All("DAMAGED").empty());
}

TEST_F(AdditionsTest, WhoAsksForNothingIsToldNothingMore) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.body = EncodeAudio(broadcast_.audio, AudioCoding::kMp3);
    route.body.erase(route.body.size() / 2, 3001);
    route.icyMetaInterval = 8000;
    route.headers = {{"icy-name", "Radio"}};
    const std::string url = ServeAll(std::move(route));
    const Recording recording =
        Record(receiver_, PrepareCommand("s", url, SaveJingles(broadcast_), 2000, 0));
    EXPECT_TRUE(recording.All("TITLE").empty());
    EXPECT_TRUE(recording.All("STATION").empty());
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

TEST_F(AdditionsTest, WhatTheNextConnectionRepeatsIsHeardOnce) {
    const std::string body = EncodeAudio(broadcast_.audio, AudioCoding::kMp3);
    const TestPcm decoded = Decode(body);
    const std::string url =
        ServeAll(BreakingRoute(body, body.size() * 6 / 10, body.size() * 3 / 10));
    const Recording recording =
        Record(receiver_, With(PrepareCommand("s", url, SaveJingles(broadcast_), 60000, 0),
                               {{"reconnectMs", 3000}, {"report", {"cause"}}}));
    ASSERT_EQ(recording.All("RESUMED").size(), 1u);
    const json resumed = recording.All("RESUMED")[0];
    EXPECT_EQ(resumed["lostFrames"], 0);
    EXPECT_EQ(resumed["attempts"], 1);
    EXPECT_EQ(resumed["exact"], true);
    EXPECT_GT(resumed["repeatedFrames"], 44100);
    EXPECT_EQ(resumed["cause"]["kind"], "reset");
    ASSERT_EQ(recording.finished["gaps"].size(), 1u);
    EXPECT_EQ(recording.finished["gaps"][0]["sample"], resumed["sample"]);
    EXPECT_TRUE(recording.All("SOURCE_ERROR").empty());

    EXPECT_EQ(recording.finished["program"]["reason"], "outro");
    EXPECT_EQ(recording.All("DETECTED").size(), 2u);  // none twice
    const uint64_t start = Sample(recording.ready["sourceSample"]);
    // A reader at the live edge gets what had passed when the end was found.
    const uint64_t served = start + recording.pcm.size() / 2;
    EXPECT_GE(served, Sample(recording.finished["program"]["endSample"]));
    const std::vector<int16_t> unbroken = decoded.Range(start, served);
    ASSERT_EQ(recording.pcm.size(), unbroken.size());
    const auto different = std::mismatch(unbroken.begin(), unbroken.end(), recording.pcm.begin());
    EXPECT_EQ(different.first, unbroken.end())
        << "at frame " << start + static_cast<uint64_t>(different.first - unbroken.begin()) / 2
        << ", joined at " << resumed;
}

TEST_F(AdditionsTest, WithoutReconnectMsABrokenConnectionIsTheEnd) {
    const std::string body = EncodeAudio(broadcast_.audio, AudioCoding::kMp3);
    const std::string url = ServeAll(BreakingRoute(body, body.size() / 2, body.size() / 4));
    const Recording recording =
        Record(receiver_, PrepareCommand("s", url, SaveJingles(broadcast_), 60000, 0));
    EXPECT_TRUE(recording.All("RESUMED").empty());
    EXPECT_EQ(recording.finished["buffer"]["finished"], true);
    EXPECT_EQ(station_.RequestCount(), 1u);
}

TEST_F(AdditionsTest, CancelIsPromptWhileASourceIsTriedAgain) {
    station_.Serve(kPath, {.status = 503, .headers = {{"Retry-After", "3600"}}});
    ASSERT_EQ(receiver_.Ask(With(PrepareCommand("s", station_.Url(kPath), SaveJingles(broadcast_)),
                                 {{"reconnectMs", 86400000}}))["type"],
              "ACK");
    ASSERT_TRUE(station_.WaitForRequests(1, kPatienceMs));
    EXPECT_EQ(receiver_.Ask({{"type", "CANCEL"}, {"sessionId", "s"}})["type"], "ACK");
    EXPECT_EQ(receiver_.WaitFor("FINISHED")["reason"], "cancelled");
}

TEST_F(AdditionsTest, WhatIsNotLostIsNotOpenedAgain) {
    const json additions = {
        {"reconnectMs", 60000}, {"reconnectLostOnly", true}, {"report", {"cause"}}};
    const std::string url = ServeAll(WavRoute(broadcast_.audio));
    const Recording recording =
        Record(receiver_, With(PrepareCommand("s", url, SaveJingles(broadcast_)), additions));
    EXPECT_EQ(recording.acknowledged["additions"],
              json({"reconnectMs", "reconnectLostOnly", "report"}));
    EXPECT_EQ(recording.finished["reason"], "eof");
    EXPECT_EQ(station_.RequestCount(), 1u);

    const json never =
        With(PrepareCommand("t", station_.Url("/none"), SaveJingles(broadcast_)), additions);
    ASSERT_EQ(receiver_.Ask(never)["type"], "ACK");
    EXPECT_EQ(receiver_.WaitFor("FINISHED")["cause"]["status"], 404);
    EXPECT_EQ(station_.RequestCount(), 2u);
}

struct CauseCase {
    const char* name;
    std::function<std::string(HttpStation&)> serve;  // gives the URL
    json cause;
};

class CauseTest : public AdditionsTest, public testing::WithParamInterface<CauseCase> {};

TEST_P(CauseTest, IsTold) {
    const json request =
        With(PrepareCommand("s", GetParam().serve(station_), SaveJingles(broadcast_)),
             {{"report", {"cause"}}, {"ioTimeoutMs", 700}});
    ASSERT_EQ(receiver_.Ask(request)["type"], "ACK");
    const json finished = receiver_.WaitFor("FINISHED");
    EXPECT_EQ(finished["message"], "Network source Open failed");
    EXPECT_EQ(finished["cause"], GetParam().cause);
}

std::string ServeRoute(HttpStation& station, StationRoute route) {
    station.Serve("/x", std::move(route));
    return station.Url("/x");
}

INSTANTIATE_TEST_SUITE_P(
    Causes, CauseTest,
    testing::Values(
        CauseCase{
            "NotThere",
            [](HttpStation& station) { return station.Url("/none"); },
            {{"kind", "http"}, {"status", 404}, {"text", "the server answers 404 Not Found"}}},
        CauseCase{
            "Unauthorized",
            [](HttpStation& station) { return ServeRoute(station, {.status = 401}); },
            {{"kind", "http"}, {"status", 401}, {"text", "the server answers 401 Unauthorized"}}},
        CauseCase{"Busy",
                  [](HttpStation& station) { return ServeRoute(station, {.status = 503}); },
                  {{"kind", "http"},
                   {"status", 503},
                   {"text", "the server answers 503 Service Unavailable"}}},
        CauseCase{"WebPage",
                  [](HttpStation& station) {
                      return ServeRoute(station, {.contentType = "text/html",
                                                  .body = "<html><body>Hello</body></html>"});
                  },
                  {{"kind", "not_audio"},
                   {"text", "what the server sends is no audio that can be read"}}},
        CauseCase{"Silent",
                  [](HttpStation& station) { return ServeRoute(station, {.headStallAfter = 5}); },
                  {{"kind", "timeout"}, {"text", "nothing came in time"}}},
        CauseCase{"NoSuchName",
                  [](HttpStation&) { return "http://radio.invalid/"; },
                  {{"kind", "name_lookup"}, {"text", "the host's name cannot be looked up"}}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace receiver
