#include "playlists/playlist.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace receiver {
namespace {

using Addresses = std::vector<std::string>;

constexpr const char* kBase = "http://radio.example/list/all.m3u";

// Nothing is told apart from an empty list.
Addresses Resolved(std::string_view text, std::string_view type = "",
                   std::string_view url = kBase) {
    return ResolvePlaylist(text, type, url).value_or(Addresses{"(no playlist)"});
}

const Addresses kNoPlaylist = {"(no playlist)"};

}  // namespace

TEST(Playlist, AnM3uNamesItsLines) {
    EXPECT_EQ(Resolved("#EXTM3U\r\n#EXTINF:-1,Radio\r\nhttp://a.example/live\r\n\r\nb.mp3\r\n"),
              Addresses({"http://a.example/live", "http://radio.example/list/b.mp3"}));
}

TEST(Playlist, AnM3uWithoutAHeaderIsKnownByItsNameOrItsType) {
    const std::string text = "\xEF\xBB\xBFhttp://a.example/live\n";
    EXPECT_EQ(Resolved(text), Addresses({"http://a.example/live"}));
    EXPECT_EQ(Resolved(text, "audio/x-mpegurl; charset=utf-8", "http://radio.example/x"),
              Addresses({"http://a.example/live"}));
    EXPECT_EQ(Resolved("live\n", "text/plain", "http://radio.example/x"), kNoPlaylist);
}

TEST(Playlist, WholeAddressesALineAreAListWhateverItIsCalled) {
    EXPECT_EQ(Resolved("\n# two\nhttp://a.example/live\r\nHTTPS://b.example/live", "text/plain",
                       "http://radio.example/x"),
              Addresses({"http://a.example/live", "https://b.example/live"}));
    EXPECT_EQ(Resolved("Hear us:\nhttp://a.example/live\n", "text/plain", "http://radio.example/x"),
              kNoPlaylist);
    EXPECT_EQ(Resolved("# nothing\n", "text/plain", "http://radio.example/x"), kNoPlaylist);
}

TEST(Playlist, APlsNamesItsFilesByTheirNumbers) {
    EXPECT_EQ(Resolved("[playlist]\nNumberOfEntries=3\nFile10=http://c.example/\n"
                       "Title1=File9=x\nfile2 = http://b.example/\nFile1=http://a.example/\n"
                       "Filex=http://x.example/\nLength1=-1\n"),
              Addresses({"http://a.example/", "http://b.example/", "http://c.example/"}));
}

TEST(Playlist, AnXspfNamesTheLocationsOfItsTracks) {
    EXPECT_EQ(Resolved("<?xml version=\"1.0\"?>\n<!-- <location>http://no/</location> -->"
                       "<playlist version='1' xmlns='http://xspf.org/ns/0/'>"
                       "<location>http://radio.example/own.xspf</location><trackList><track>"
                       "<title>Radio</title><location> http://a.example/?x=1&amp;y=&#50; "
                       "</location></track><track><location><![CDATA[/b?c&d]]></location>"
                       "</track></trackList></playlist>"),
              Addresses({"http://a.example/?x=1&y=2", "http://radio.example/b?c&d"}));
}

TEST(Playlist, AnAsxNamesItsReferences) {
    EXPECT_EQ(Resolved("<ASX VERSION=\"3.0\"><Entry><Title>A > B</Title>"
                       "<REF banner HREF = \"http://a.example/live?x&y\" /></Entry>"
                       "<entryref href='more.asx'/><Entry><ref href=http://c.example/c></Entry>"
                       "<ref href=\"mms://d.example/d\"/></ASX>"),
              Addresses({"http://a.example/live?x&y", "http://radio.example/list/more.asx",
                         "http://c.example/c"}));
}

TEST(Playlist, AnAsxMayBeWrittenAsAnIniFile) {
    EXPECT_EQ(Resolved("[Reference]\r\nRef1=http://a.example/live?MSWMExt=.asf\r\n"
                       "Ref2=http://b.example/\r\n"),
              Addresses({"http://a.example/live?MSWMExt=.asf", "http://b.example/"}));
}

TEST(Playlist, AMasterNamesItsVariantsByBandwidth) {
    EXPECT_EQ(
        Resolved("#EXTM3U\n#EXT-X-VERSION:6\n"
                 "#EXT-X-STREAM-INF:BANDWIDTH=64000,CODECS=\"mp4a.40.2\"\nlow/live.m3u8\n"
                 "#EXT-X-STREAM-INF:AVERAGE-BANDWIDTH=1,BANDWIDTH=256000,"
                 "CODECS=\"a,BANDWIDTH=9\"\nhigh/live.m3u8?t=1\n"
                 "#EXT-X-STREAM-INF:BANDWIDTH=128000\n#EXT-X-OTHER\n/mid.m3u8\n"),
        Addresses({"http://radio.example/list/high/live.m3u8?t=1", "http://radio.example/mid.m3u8",
                   "http://radio.example/list/low/live.m3u8"}));
}

TEST(Playlist, AudioAloneGoesBeforeAPicture) {
    EXPECT_EQ(Resolved("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=900,RESOLUTION=640x360\nvideo\n"
                       "#EXT-X-STREAM-INF:BANDWIDTH=800,CODECS=\"avc1.4d001f,mp4a.40.2\"\nother\n"
                       "#EXT-X-STREAM-INF:BANDWIDTH=64,CODECS=\"mp4a.40.5\"\naudio\n"),
              Addresses({"http://radio.example/list/audio", "http://radio.example/list/video",
                         "http://radio.example/list/other"}));
}

TEST(Playlist, OfAVariantWithAPictureItsRenditionOfAudioIsTaken) {
    EXPECT_EQ(Resolved("#EXTM3U\n"
                       "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"x, y\",URI=\"other.m3u8\"\n"
                       "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",DEFAULT=YES,URI=\"main.m3u8\"\n"
                       "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"a\",DEFAULT=YES,URI=\"text.m3u8\"\n"
                       "#EXT-X-STREAM-INF:BANDWIDTH=900,RESOLUTION=640x360,AUDIO=\"a\"\nvideo\n"),
              Addresses({"http://radio.example/list/main.m3u8"}));
}

TEST(Playlist, AMediaPlaylistIsTheStreamItself) {
    EXPECT_EQ(Resolved("#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXTINF:4,\nsegment1.ts\n"), kNoPlaylist);
}

TEST(Playlist, WhatIsNoPlaylistIsNone) {
    for (const std::string& text :
         {std::string("<!DOCTYPE html><html><a href='x.m3u'>x</a></html>"), std::string("<"),
          std::string("<svg/>"), std::string("http://a.example/\0", 18), std::string("<!-- <asx>"),
          std::string("[other]\nFile1=http://a.example/")}) {
        EXPECT_EQ(Resolved(text, "text/plain", "http://radio.example/x"), kNoPlaylist) << text;
    }
}

TEST(Playlist, WhatCannotBeRecordedIsLeftOut) {
    EXPECT_EQ(Resolved("#EXTM3U\nmms://a/\nfile:///etc/passwd\n/etc/../b\nc:\\music.mp3\n"
                       "pcm-pipe://x\nhttp:///nohost\nHTTPS://C.example/live\n" +
                       std::string(5000, 'a') + "\n/b\n"),
              Addresses({"http://radio.example/b", "https://C.example/live"}));
    EXPECT_EQ(Resolved("#EXTM3U\n"), Addresses());
}

TEST(Playlist, ALongOneIsReadAsFarAsItsBounds) {
    std::string text = "#EXTM3U\n";
    for (int i = 0; i < 1000; ++i) text += "/" + std::to_string(i) + "\n";
    EXPECT_EQ(Resolved(text).size(), kMaxPlaylistAddresses);
    text = "#EXTM3U\n#" + std::string(kMaxPlaylistBytes, 'x') + "\n/a\n";
    EXPECT_EQ(Resolved(text), Addresses());
}

TEST(Playlist, ATypeOrAnExtensionPromisesAPlaylist) {
    EXPECT_TRUE(MayBePlaylist("http://a/live", "audio/x-scpls"));
    EXPECT_TRUE(MayBePlaylist("http://a/live", "Application/VND.Apple.mpegURL; charset=utf-8"));
    EXPECT_TRUE(MayBePlaylist("http://a/live.PLS?x=1", ""));
    EXPECT_TRUE(MayBePlaylist("http://a/live.asx", "text/plain"));
    EXPECT_TRUE(MayBePlaylist("http://a/live.m3u8", "application/octet-stream"));
    EXPECT_FALSE(MayBePlaylist("http://a/live.m3u", "audio/mpeg"));
    EXPECT_FALSE(MayBePlaylist("http://a/live.pls", "application/ogg"));
    EXPECT_FALSE(MayBePlaylist("http://a.m3u", ""));
    EXPECT_FALSE(MayBePlaylist("http://a/live?x=.m3u", ""));
    EXPECT_FALSE(MayBePlaylist("http://a/live", "text/html"));
}

TEST(Playlist, WhateverIsNotSaidToBeAudioMayHoldOne) {
    for (const char* const type : {"", "text/plain", "text/html; charset=utf-8", "audio/x-scpls",
                                   "video/x-ms-asf", "application/octet-stream"}) {
        EXPECT_TRUE(MayHoldPlaylist(type)) << type;
    }
    for (const char* const type :
         {"audio/mpeg", "Audio/AAC; x=y", "video/mp4", "application/ogg"}) {
        EXPECT_FALSE(MayHoldPlaylist(type)) << type;
    }
}

}  // namespace receiver
