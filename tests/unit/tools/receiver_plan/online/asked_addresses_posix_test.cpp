#include "receiver_plan/online/asked_addresses.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/audio_encoder.h"
#include "testing/audio_generator.h"
#include "testing/http_station.h"
#include "testing/patience.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

class AskedAddressesTest : public testing::Test {
protected:
    static StationRoute Music() {
        StationRoute route;
        route.contentType = MimeTypeOf(AudioCoding::kMp3);
        route.body = EncodeAudio(MakeMusic(1, 44100, 2, size_t{5} * 44100), AudioCoding::kMp3);
        return route;
    }
    void Serve(const std::string& path, const std::string& type, const std::string& body) {
        StationRoute route;
        route.contentType = type;
        route.body = body;
        station_.Serve(path, route);
    }
    AskedAddress Ask(const std::string& url, uint32_t ioTimeoutMs = kPatienceMs) {
        return AskAddresses({url}, ioTimeoutMs).at(0);
    }

    HttpStation station_;
};

}  // namespace

TEST_F(AskedAddressesTest, NoneAreAskedForNothing) {
    EXPECT_TRUE(AskAddresses({}, kPatienceMs).empty());
}

TEST_F(AskedAddressesTest, AStreamAnswersAndItsSecretsAreNotTold) {
    station_.Serve("/live", Music());
    const AskedAddress asked = Ask(station_.Url("/live") + "?token=secret");
    EXPECT_EQ(asked.failure, "There is nothing at this address (the server answers 404 Not Found)");
    station_.Serve("/live?token=secret", Music());
    const AskedAddress stream = Ask(station_.Url("/live") + "?token=secret");
    EXPECT_TRUE(stream.answers) << stream.failure;
    EXPECT_EQ(stream.address, station_.Url("/live"));
    EXPECT_EQ(stream.failure, "");
}

TEST_F(AskedAddressesTest, APlaylistIsFollowedToTheStreamThatOpens) {
    Serve("/list.m3u", "audio/x-mpegurl", "/gone\n/live\n");
    station_.Serve("/live", Music());
    const AskedAddress asked = Ask(station_.Url("/list.m3u"));
    EXPECT_TRUE(asked.answers) << asked.failure;
    EXPECT_EQ(asked.address, station_.Url("/live"));
}

TEST_F(AskedAddressesTest, AWebPageIsNoStream) {
    Serve("/", "text/html", "<html>Hear us</html>");
    const AskedAddress asked = Ask(station_.Url("/"));
    EXPECT_FALSE(asked.answers);
    EXPECT_FALSE(asked.mayPass);
    EXPECT_EQ(asked.failure,
              "There is no audio at this address: it may be that of a web page, not of the stream");
}

TEST_F(AskedAddressesTest, AStationThatIsDownMayComeBack) {
    std::string url;
    {
        const HttpStation closed;
        url = closed.Url("/live");
    }
    const AskedAddress refused = Ask(url);
    EXPECT_FALSE(refused.answers);
    EXPECT_TRUE(refused.mayPass);
    EXPECT_NE(refused.failure.find("No server answers"), std::string::npos) << refused.failure;

    StationRoute full;
    full.status = 503;
    station_.Serve("/full", full);
    EXPECT_TRUE(Ask(station_.Url("/full")).mayPass);
}

TEST_F(AskedAddressesTest, AStationThatSaysNothingIsGivenUp) {
    StationRoute silent = Music();
    silent.headStallAfter = 0;
    station_.Serve("/live", silent);
    const AskedAddress asked = Ask(station_.Url("/live"), 300);
    EXPECT_FALSE(asked.answers);
    EXPECT_EQ(asked.failure, "The station did not answer in time");
}

// None of them gets its audio before as many as may be are asked at once.
TEST_F(AskedAddressesTest, ManyAreAskedAtOnceAndNotMoreThanMayBe) {
    StationRoute route = Music();
    route.gated = true;
    std::vector<std::string> urls;
    for (size_t i = 0; i < kMaxAskedAtOnce + 4; ++i) {
        const std::string path = "/live" + std::to_string(i);
        station_.Serve(path, route);
        urls.push_back(station_.Url(path));
    }
    TestTask asking("the asking", [&] { return AskAddresses(urls, 4 * kPatienceMs); });
    EXPECT_TRUE(station_.WaitForRequests(kMaxAskedAtOnce, kPatienceMs));
    EXPECT_EQ(station_.RequestCount(), kMaxAskedAtOnce);
    for (size_t i = 0; i < urls.size(); ++i) station_.ReleaseAll("/live" + std::to_string(i));
    for (const AskedAddress& asked : asking.Get()) EXPECT_TRUE(asked.answers) << asked.failure;
    EXPECT_EQ(station_.RequestCount(), urls.size());
}

}  // namespace receiver
