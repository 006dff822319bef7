// What a station, or the environment, makes the built receiver open: nothing but what it was told.
#include <gmock/gmock.h>

#include "testing/playlist.h"
#include "testing/receiver_fixture.h"
#include "testing/tls_station_posix.h"

namespace receiver {

class HostileSourceTest : public ReceiverTest {
protected:
    void ExpectRefused(const std::string& url) {
        const Recording recording =
            Record(receiver_, PrepareCommand("s", url, SaveJingles(broadcast_)));
        EXPECT_THAT(recording.EventTypes(), testing::ElementsAre("FINISHED"));
        EXPECT_EQ(recording.finished["reason"], "error");
        EXPECT_EQ(recording.finished["message"], "Network source Open failed");
    }
    void ServeText(const std::string& path, const std::string& type, const std::string& text) {
        StationRoute route;
        route.contentType = type;
        route.body = text;
        station_.Serve(path, route);
    }

    const Broadcast broadcast_ = MakeBroadcast(44100, 2);
};

TEST_F(HostileSourceTest, ASessionDescriptionOpensNoSocket) {
    ServeText("/radio.sdp", "application/sdp",
              "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=Radio\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
              "m=audio 47010 RTP/AVP 0\r\n");
    ExpectRefused(station_.Url("/radio.sdp"));
    ExpectCleanSession();
}

TEST_F(HostileSourceTest, ASegmentWithACertificateThatNobodyVouchesForIsNotPlayed) {
    TlsStation secure(MimeTypeOf(AudioCoding::kAacAdts),
                      EncodeAudio(broadcast_.audio, AudioCoding::kAacAdts));
    ServeText("/radio.m3u8", "application/vnd.apple.mpegurl", MakePlaylist({secure.Url("/a.aac")}));
    ExpectRefused(station_.Url("/radio.m3u8"));
    EXPECT_EQ(secure.ServedRequests(), 0u);
    ExpectCleanSession();
}

TEST_F(HostileSourceTest, AReferenceThatIsAPlaylistOpensNoAddress) {
    ReferenceFile playlist{"list", "start", folder_.File("list.m3u8")};
    WriteFileBytes(playlist.path, MakePlaylist({station_.Url("/radio")}));
    const Recording recording =
        Record(receiver_, PrepareCommand("s", station_.Url("/radio"), {playlist}));
    EXPECT_EQ(recording.finished["message"], "Reference Open failed");
    EXPECT_EQ(station_.RequestCount(), 0u);
}

TEST_F(HostileSourceTest, AProxyInTheEnvironmentIsNotAsked) {
    HttpStation proxy;
    station_.Serve(kPath, WavRoute(broadcast_.audio));
    ReceiverDriver::Options options;
    options.launcher = {"env"};
    for (const char* name :
         {"http_proxy", "https_proxy", "all_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY"}) {
        options.launcher.push_back(name + ("=" + proxy.Url("")));
    }
    ReceiverDriver receiver(options);
    receiver.Introduce();
    const Recording recording = Record(
        receiver, PrepareCommand("s", station_.Url(kPath), SaveJingles(broadcast_), 1000, 0));
    EXPECT_EQ(recording.finished["reason"], "eof");
    EXPECT_EQ(proxy.RequestCount(), 0u);
    receiver.Shutdown();
}

}  // namespace receiver
