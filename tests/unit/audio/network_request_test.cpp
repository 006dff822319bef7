// What a source's requests say to the servers that it leads to.
#include <gtest/gtest.h>

#include <string>

#include "audio/ffmpeg_network_audio_file.h"
#include "audio/source_policy.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/pcm_reading.h"
#include "testing/playlist.h"
#include "testing/scripted_audio_file.h"

namespace receiver {
namespace {

class NetworkRequestTest : public testing::Test {
protected:
    NetworkRequestTest() {
        aac_.contentType = "audio/aac";
        aac_.body = EncodeAudio(MakeMusic(3, 44100, 1, 44100), AudioCoding::kAacAdts);
    }
    void Play(const std::string& url) {
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        file.SetRequest({.userAgent = "Deck/2",
                         .headers = "Authorization: Bearer a.b\r\nX-Studio: 1\r\n",
                         .caFile = {}});
        ASSERT_TRUE(file.Open(url)) << file.GetErrorText();
        EXPECT_EQ(ReadToEnd(file).last, 0);
    }
    static bool Says(const std::string& head, const std::string& line) {
        return head.find("\r\n" + line + "\r\n") != std::string::npos;
    }

    StationRoute aac_;
    HttpStation station_;
    HttpStation other_;
};

}  // namespace

TEST_F(NetworkRequestTest, WhatWasAskedForIsSaidToTheServer) {
    station_.Serve("/a", aac_);
    Play(station_.Url("/a"));
    ASSERT_EQ(station_.RequestHeads("/a").size(), 1u);
    const std::string head = station_.RequestHeads("/a")[0];
    EXPECT_TRUE(Says(head, "User-Agent: Deck/2")) << head;
    EXPECT_TRUE(Says(head, "Authorization: Bearer a.b")) << head;
    EXPECT_TRUE(Says(head, "X-Studio: 1")) << head;
}

TEST_F(NetworkRequestTest, SegmentsOfTheSameServerAreAskedForLikeThePlaylist) {
    station_.Serve("/a.aac", aac_);
    StationRoute playlist;
    playlist.contentType = "application/vnd.apple.mpegurl";
    playlist.body = MakePlaylist({"/a.aac"});
    station_.Serve("/radio.m3u8", playlist);
    Play(station_.Url("/radio.m3u8"));
    ASSERT_FALSE(station_.RequestHeads("/a.aac").empty());
    for (const std::string& head : station_.RequestHeads("/a.aac")) {
        EXPECT_TRUE(Says(head, "User-Agent: Deck/2")) << head;
        EXPECT_TRUE(Says(head, "Authorization: Bearer a.b")) << head;
    }
}

TEST_F(NetworkRequestTest, AnotherServerIsNotToldWhatTheSourcesServerIs) {
    other_.Serve("/a.aac", aac_);
    StationRoute playlist;
    playlist.contentType = "application/vnd.apple.mpegurl";
    playlist.body = MakePlaylist({other_.Url("/a.aac")});
    station_.Serve("/radio.m3u8", playlist);
    Play(station_.Url("/radio.m3u8"));
    ASSERT_FALSE(other_.RequestHeads("/a.aac").empty());
    for (const std::string& head : other_.RequestHeads("/a.aac")) {
        EXPECT_TRUE(Says(head, "User-Agent: Deck/2")) << head;
        EXPECT_EQ(head.find("Bearer"), std::string::npos) << head;
        EXPECT_EQ(head.find("X-Studio"), std::string::npos) << head;
    }
}

TEST(SameServer, IsSchemeHostAndPort) {
    EXPECT_TRUE(IsSameServer("http://Radio.example/a", "HTTP://radio.example?b"));
    EXPECT_TRUE(IsSameServer("crypto+http://radio.example/a", "http://radio.example/b"));
    EXPECT_TRUE(IsSameServer("http://me:pw@radio.example/a", "http://radio.example/b"));
    EXPECT_FALSE(IsSameServer("https://radio.example/a", "http://radio.example/a"));
    EXPECT_FALSE(IsSameServer("http://radio.example:8000/a", "http://radio.example/a"));
    EXPECT_FALSE(IsSameServer("http://radio.example.evil/a", "http://radio.example/a"));
    EXPECT_FALSE(IsSameServer("http://radio.example@evil/a", "http://radio.example/a"));
    EXPECT_FALSE(IsSameServer("http://evil/@radio.example", "http://radio.example/a"));
}

}  // namespace receiver
