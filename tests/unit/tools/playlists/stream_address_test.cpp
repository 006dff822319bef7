#include "playlists/stream_address.h"

#include <gtest/gtest.h>

#include "testing/http_station.h"
#include "testing/patience.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

class StreamAddressTest : public testing::Test {
protected:
    void Serve(const std::string& path, const std::string& type, const std::string& body) {
        StationRoute route;
        route.contentType = type;
        route.body = body;
        station_.Serve(path, route);
    }
    std::string Found(const std::string& path) {
        return FindStreamUrl(station_.Url(path), {}, interrupted_);
    }

    HttpStation station_;
    ManualResetEvent interrupted_;
};

}  // namespace

TEST_F(StreamAddressTest, AnAddressThatIsNoPlaylistsIsNotAskedFor) {
    EXPECT_EQ(Found("/live"), station_.Url("/live"));
    EXPECT_EQ(station_.RequestCount(), 0u);
}

TEST_F(StreamAddressTest, APlaylistLeadsToItsStream) {
    Serve("/list.pls", "audio/x-scpls", "[playlist]\nFile1=/live\n");
    EXPECT_EQ(Found("/list.pls"), station_.Url("/live"));
    EXPECT_EQ(station_.RequestCount(), 1u);
}

TEST_F(StreamAddressTest, APlaylistOfPlaylistsIsFollowed) {
    Serve("/list.asx", "text/plain", "<asx><entryref href=\"master.m3u8\"/></asx>");
    Serve("/master.m3u8", "application/vnd.apple.mpegurl",
          "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nlow.m3u8\n"
          "#EXT-X-STREAM-INF:BANDWIDTH=2\nhigh.m3u8\n");
    Serve("/high.m3u8", "application/vnd.apple.mpegurl",
          "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXTINF:4,\n1.ts\n");
    EXPECT_EQ(Found("/list.asx"), station_.Url("/high.m3u8"));
}

TEST_F(StreamAddressTest, ARedirectedPlaylistIsRelativeToWhereItLies) {
    StationRoute route;
    route.status = 302;
    route.redirectTo = station_.Url("/there/list.m3u");
    station_.Serve("/list.m3u", route);
    Serve("/there/list.m3u", "audio/x-mpegurl", "live\n");
    EXPECT_EQ(Found("/list.m3u"), station_.Url("/there/live"));
}

TEST_F(StreamAddressTest, ACircleEndsAfterFivePlaylists) {
    Serve("/a.m3u", "audio/x-mpegurl", "/a.m3u\n");
    EXPECT_EQ(Found("/a.m3u"), station_.Url("/a.m3u"));
    EXPECT_EQ(station_.RequestCount(), 5u);
}

// Its body never comes: it is not waited for.
TEST_F(StreamAddressTest, AudioUnderAPlaylistsNameIsLeftAlone) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.body = "/other";
    route.stallAfter = 0;
    station_.Serve("/live.m3u", route);
    EXPECT_EQ(Found("/live.m3u"), station_.Url("/live.m3u"));
}

TEST_F(StreamAddressTest, WhatNamesNothingOrIsNotThereStaysAsItIs) {
    Serve("/page.m3u", "text/html", "<html></html>");
    Serve("/empty.m3u", "audio/x-mpegurl", "#EXTM3U\n");
    EXPECT_EQ(Found("/page.m3u"), station_.Url("/page.m3u"));
    EXPECT_EQ(Found("/empty.m3u"), station_.Url("/empty.m3u"));
    EXPECT_EQ(Found("/missing.m3u"), station_.Url("/missing.m3u"));
}

TEST_F(StreamAddressTest, AnInterruptionEndsTheWait) {
    StationRoute route;
    route.contentType = "audio/x-mpegurl";
    route.body = "/live\n";
    route.stallAfter = 0;
    station_.Serve("/list.m3u", route);
    TestTask interrupter("the interrupter", [this] {
        EXPECT_TRUE(station_.WaitForStall("/list.m3u", kPatienceMs));
        interrupted_.Signal();
    });
    EXPECT_EQ(Found("/list.m3u"), station_.Url("/list.m3u"));
    interrupter.Get();
}

}  // namespace receiver
