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
    // What is named, with a space behind each.
    std::string Found(const std::string& path, PlaylistSign sign = PlaylistSign::kName) {
        std::string list;
        for (const std::string& url : AskForPlaylist(station_.Url(path), sign, {}, interrupted_)) {
            list += url + " ";
        }
        return list;
    }

    HttpStation station_;
    ManualResetEvent interrupted_;
};

}  // namespace

TEST_F(StreamAddressTest, AnAddressThatIsNoPlaylistsIsNotAskedFor) {
    EXPECT_EQ(Found("/live"), "");
    EXPECT_EQ(station_.RequestCount(), 0u);
}

TEST_F(StreamAddressTest, APlaylistNamesItsStreams) {
    Serve("/list.pls", "audio/x-scpls", "[playlist]\nFile1=/live\nFile2=/other\n");
    EXPECT_EQ(Found("/list.pls"), station_.Url("/live") + " " + station_.Url("/other") + " ");
    EXPECT_EQ(station_.RequestCount(), 1u);
}

TEST_F(StreamAddressTest, ARedirectedPlaylistIsRelativeToWhereItLies) {
    StationRoute route;
    route.status = 302;
    route.redirectTo = station_.Url("/there/list.m3u");
    station_.Serve("/list.m3u", route);
    Serve("/there/list.m3u", "audio/x-mpegurl", "live\n");
    EXPECT_EQ(Found("/list.m3u"), station_.Url("/there/live") + " ");
}

TEST_F(StreamAddressTest, APlaylistIsKnownByItsTypeOrItsText) {
    Serve("/type", "audio/x-scpls", "File1=/live\n");
    Serve("/text", "text/html", "#EXTM3U\n/live\n");
    Serve("/none", "application/octet-stream", "<asx><ref href='/live'/></asx>");
    Serve("/plain", "text/plain", "# our stream\n\n" + station_.Url("/live") + "\r\n");
    for (const char* const path : {"/type", "/text", "/none", "/plain"}) {
        EXPECT_EQ(Found(path, PlaylistSign::kNone), station_.Url("/live") + " ") << path;
    }
}

TEST_F(StreamAddressTest, ATextIsNoPlaylist) {
    Serve("/text", "text/plain", "Hear us at\n" + station_.Url("/live") + "\n");
    EXPECT_EQ(Found("/text", PlaylistSign::kNone), "");
}

// Its body never comes: it is not waited for.
TEST_F(StreamAddressTest, AudioIsLeftAloneAtOnce) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.body = "/other";
    route.stallAfter = 0;
    station_.Serve("/live.m3u", route);
    EXPECT_EQ(Found("/live.m3u"), "");
    EXPECT_EQ(Found("/live.m3u", PlaylistSign::kNone), "");
}

TEST_F(StreamAddressTest, WhatNamesNothingOrIsNotThereIsNone) {
    Serve("/page.m3u", "text/html", "<html></html>");
    Serve("/empty.m3u", "audio/x-mpegurl", "#EXTM3U\n");
    EXPECT_EQ(Found("/page.m3u"), "");
    EXPECT_EQ(Found("/empty.m3u"), "");
    EXPECT_EQ(Found("/missing.m3u"), "");
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
    EXPECT_EQ(Found("/list.m3u"), "");
    interrupter.Get();
}

}  // namespace receiver
