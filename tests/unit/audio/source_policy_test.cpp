// What a station's bytes, and what a reference's bytes, cannot make FFmpeg open.
#include "audio/source_policy.h"

#include <gtest/gtest.h>

#include <map>

#include "audio/ffmpeg.h"
#include "audio/ffmpeg_network_audio_file.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/pcm_reading.h"
#include "testing/playlist.h"
#include "testing/scripted_audio_file.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr char kSdp[] =
    "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=Radio\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
    "m=audio 47006 RTP/AVP 0\r\n";

std::string Dash(const std::string& base) {
    return R"(<?xml version="1.0"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="static" mediaPresentationDuration="PT2S"
 minBufferTime="PT1S" profiles="urn:mpeg:dash:profile:isoff-main:2011"><Period><AdaptationSet
 mimeType="audio/mp4"><Representation id="1" bandwidth="64000" codecs="mp4a.40.2"><BaseURL>)" +
           base + R"(</BaseURL></Representation></AdaptationSet></Period></MPD>)";
}

class SourcePolicyTest : public testing::Test {
protected:
    SourcePolicyTest() { Serve("/a.aac", "audio/aac", aac_); }

    void Serve(const std::string& path, const std::string& type, const std::string& body) {
        StationRoute route;
        route.contentType = type;
        route.body = body;
        station_.Serve(path, route);
    }
    void ServePlaylist(const std::string& body) {
        Serve("/radio.m3u8", "application/vnd.apple.mpegurl", body);
    }

    // The body is all that is fetched; nothing is waited for.
    void ExpectRefused(const std::string& path) {
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        EXPECT_EQ(file.Open(station_.Url(path)), 0);
        EXPECT_EQ(file.ErrorCode(), kDecoderErrorOpen);
        EXPECT_EQ(file.GetErrorText(), "Decoder error 0x100");
        EXPECT_EQ(station_.RequestCount(), 1u);
    }
    void ExpectPlayed(const std::string& path) {
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        ASSERT_TRUE(file.Open(station_.Url(path))) << file.GetErrorText();
        const ReadOutcome outcome = ReadToEnd(file);
        EXPECT_EQ(outcome.last, 0);
        EXPECT_GT(outcome.bytes.size(), pcm_.Bytes() * 9 / 10);
    }
    // Beside it lies a file that would play.
    void ExpectRefusedReference(const std::string& name, const std::string& body) {
        WriteFileBytes(folder_.File("a.aac"), aac_);
        WriteFileBytes(folder_.File(name), body);
        CFFmpegStreamingDecoder decoder;
        EXPECT_EQ(decoder.Open(folder_.File(name)), 0);
        EXPECT_EQ(station_.RequestCount(), 0u);
    }

    const TestPcm pcm_ = MakeMusic(3, 44100, 1, 44100 * 2);
    const std::string aac_ = EncodeAudio(pcm_, AudioCoding::kAacAdts);
    const TempFolder folder_;
    HttpStation station_;
};

// The entries of a playlist that lead elsewhere; %s is the station's address.
class PlaylistEntryTest : public SourcePolicyTest,
                          public testing::WithParamInterface<std::pair<const char*, const char*>> {
protected:
    std::string Entry() const {
        std::string entry = GetParam().second;
        for (const auto& [mark, value] :
             std::map<std::string, std::string>{{"%station", station_.Url("")},
                                                {"%port", std::to_string(station_.Port())},
                                                {"%file", folder_.File("a.aac")}}) {
            for (size_t at; (at = entry.find(mark)) != std::string::npos;) {
                entry.replace(at, mark.size(), value);
            }
        }
        return entry;
    }
    void SetUp() override { WriteFileBytes(folder_.File("a.aac"), aac_); }
};

constexpr std::pair<const char*, const char*> kEntries[] = {
    {"File", "file://%file"},
    {"FileWithoutSlashes", "file:%file"},
    {"Path", "%file"},
    {"Data", "data:audio/aac;base64,//FQQBP//A=="},
    {"Concat", "concat:%station/a.aac|%station/a.aac"},
    {"Subfile", "subfile,,start,0,end,0,,:%station/a.aac"},
    {"Cache", "cache:%station/a.aac"},
    {"Async", "async:%station/a.aac"},
    {"Playlist", "hls+%station/a.aac"},
    {"Proxy", "httpproxy://127.0.0.1:%port/a.aac"},
    {"Tcp", "tcp://127.0.0.1:%port/a.aac"},
    {"Tls", "tls://127.0.0.1:%port/a.aac"},
    {"Udp", "udp://127.0.0.1:%port/a.aac"},
    {"Rtp", "rtp://127.0.0.1:%port/a.aac"},
    {"Rtmp", "rtmp://127.0.0.1:%port/a.aac"},
    {"Ftp", "ftp://127.0.0.1:%port/a.aac"},
    {"Mms", "mmsh://127.0.0.1:%port/a.aac"},
    {"Pipe", "pipe:0"},
};

std::string NameOfEntry(const testing::TestParamInfo<std::pair<const char*, const char*>>& info) {
    return info.param.first;
}

}  // namespace

TEST_F(SourcePolicyTest, EveryNameOnTheListIsAFormatOfThisFfmpeg) {
    for (const char* name : kNetworkDemuxers) {
        EXPECT_NE(av_find_input_format(name), nullptr) << name;
    }
}

TEST_F(SourcePolicyTest, APlaylistOfSegmentsPlays) {
    ServePlaylist(MakePlaylist({"a.aac"}));
    ExpectPlayed("/radio.m3u8");
}

TEST_F(SourcePolicyTest, APlaylistOfPlaylistsPlays) {
    Serve("/list.m3u8", "application/vnd.apple.mpegurl", MakePlaylist({"a.aac"}));
    ServePlaylist("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=64000\nlist.m3u8\n");
    ExpectPlayed("/radio.m3u8");
}

TEST_F(SourcePolicyTest, AnEncryptedSegmentPlays) {
    Serve("/key", "application/octet-stream", kTestKey);
    Serve("/secret.aac", "audio/aac", EncryptSegment(aac_));
    ServePlaylist(MakePlaylist({"secret.aac"}, station_.Url("/key")));
    ExpectPlayed("/radio.m3u8");
}

TEST_F(SourcePolicyTest, SegmentsOfOneHostAreEachOpenedThroughTheHook) {
    ServePlaylist(MakePlaylist({"a.aac", "a.aac", "a.aac"}));
    ExpectPlayed("/radio.m3u8");
    EXPECT_EQ(station_.RequestCount(), 4u);
}

TEST_F(SourcePolicyTest, ASessionDescriptionOpensNoSocket) {
    Serve("/a.sdp", "application/sdp", kSdp);
    ExpectRefused("/a.sdp");
}

TEST_F(SourcePolicyTest, ADashManifestIsNotFollowed) {
    Serve("/a.mpd", "application/dash+xml", Dash(station_.Url("/a.mp4")));
    ExpectRefused("/a.mpd");
}

TEST_F(SourcePolicyTest, AConcatScriptIsNotFollowed) {
    Serve("/a.ffconcat", "text/plain", "ffconcat version 1.0\nfile a.aac\n");
    ExpectRefused("/a.ffconcat");
}

TEST_F(SourcePolicyTest, APatternInTheNameOpensNoSeriesOfFiles) {
    CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
    EXPECT_EQ(file.Open(station_.Url("/%03d.png")), 0);
    EXPECT_EQ(file.ErrorCode(), kDecoderErrorOpen);
    // An FFmpeg that was built without the format of series asks for the name as it stands.
    EXPECT_EQ(station_.RequestCount(), av_find_input_format("image2") ? 0u : 1u);
}

TEST_F(SourcePolicyTest, AKeyInAFileIsNotRead) {
    WriteFileBytes(folder_.File("key"), kTestKey);
    Serve("/secret.aac", "audio/aac", EncryptSegment(aac_));
    for (const std::string start : {"file://", "file:", ""}) {
        ServePlaylist(MakePlaylist({"secret.aac"}, start + folder_.File("key")));
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        EXPECT_EQ(file.Open(station_.Url("/radio.m3u8")), 0) << start;
    }
}

TEST_F(SourcePolicyTest, AKeyInTheAddressIsNotRead) {
    Serve("/secret.aac", "audio/aac", EncryptSegment(aac_));
    ServePlaylist(MakePlaylist({"secret.aac"}, "data:text/plain,0123456789abcdef"));
    CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
    EXPECT_EQ(file.Open(station_.Url("/radio.m3u8")), 0);
}

TEST_F(SourcePolicyTest, ARedirectLeadsToHttpOnly) {
    WriteFileBytes(folder_.File("a.aac"), aac_);
    const std::string port = std::to_string(station_.Port());
    for (const std::string& target :
         {"file://" + folder_.File("a.aac"), std::string("data:audio/aac;base64,//FQQBP//A=="),
          "concat:" + station_.Url("/a.aac"), "subfile,,start,0,end,0,,:" + station_.Url("/a.aac"),
          "udp://127.0.0.1:" + port, "tcp://127.0.0.1:" + port, "rtp://127.0.0.1:" + port,
          "rtsp://127.0.0.1:" + port + "/a", "ftp://127.0.0.1:" + port + "/a"}) {
        SCOPED_TRACE(target);
        const size_t before = station_.RequestCount();
        StationRoute away;
        away.status = 302;
        away.redirectTo = target;
        station_.Serve("/away", away);
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        EXPECT_EQ(file.Open(station_.Url("/away")), 0);
        EXPECT_EQ(file.GetErrorText(), "Decoder error 0x100");
        EXPECT_EQ(station_.RequestCount(), before + 1);
    }
}

TEST_P(PlaylistEntryTest, IsNotOpenedAsASegment) {
    ServePlaylist(MakePlaylist({Entry()}));
    CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
    EXPECT_EQ(file.Open(station_.Url("/radio.m3u8")), 0);
    EXPECT_NE(file.GetErrorText(), "Network operation timed out");
    // A path counts from the playlist's place and is asked for there.
    EXPECT_LE(station_.RequestCount(), GetParam().first == std::string("Path") ? 2u : 1u);
}

// What lies there is a playlist that would play.
TEST_P(PlaylistEntryTest, IsNotOpenedAsAPlaylist) {
    Serve("/b.aac", "audio/aac", aac_);
    const std::string playlist = MakePlaylist({station_.Url("/b.aac")});
    WriteFileBytes(folder_.File("a.aac"), playlist);
    Serve("/a.aac", "application/vnd.apple.mpegurl", playlist);
    ServePlaylist("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=64000\n" + Entry() + "\n");
    CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
    EXPECT_EQ(file.Open(station_.Url("/radio.m3u8")), 0);
    EXPECT_NE(file.GetErrorText(), "Network operation timed out");
    EXPECT_LE(station_.RequestCount(), GetParam().first == std::string("Path") ? 2u : 1u);
}

// What lies there is the right key.
TEST_P(PlaylistEntryTest, IsNotOpenedAsAKey) {
    WriteFileBytes(folder_.File("a.aac"), kTestKey);
    Serve("/a.aac", "application/octet-stream", kTestKey);
    Serve("/secret.aac", "audio/aac", EncryptSegment(aac_));
    ServePlaylist(MakePlaylist({"secret.aac"}, Entry()));
    CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
    EXPECT_EQ(file.Open(station_.Url("/radio.m3u8")), 0);
    EXPECT_NE(file.GetErrorText(), "Network operation timed out");
    EXPECT_LE(station_.RequestCount(), GetParam().first == std::string("Path") ? 3u : 2u);
}

INSTANTIATE_TEST_SUITE_P(Entries, PlaylistEntryTest, testing::ValuesIn(kEntries), NameOfEntry);

TEST_F(SourcePolicyTest, AReferenceThatIsAPlaylistOpensNoAddress) {
    ExpectRefusedReference("radio.m3u8", MakePlaylist({station_.Url("/a.aac")}));
}

TEST_F(SourcePolicyTest, AReferenceThatIsAPlaylistOpensNoOtherFile) {
    ExpectRefusedReference("radio.m3u8", MakePlaylist({"a.aac"}));
}

TEST_F(SourcePolicyTest, AReferenceThatIsAConcatScriptOpensNoOtherFile) {
    ExpectRefusedReference("a.ffconcat", "ffconcat version 1.0\nfile a.aac\n");
}

TEST_F(SourcePolicyTest, AReferenceThatIsADashManifestOpensNoAddress) {
    ExpectRefusedReference("a.mpd", Dash(station_.Url("/a.mp4")));
}

TEST_F(SourcePolicyTest, AReferenceThatIsASessionDescriptionOpensNoSocket) {
    ExpectRefusedReference("a.sdp", kSdp);
}

TEST_F(SourcePolicyTest, AnAddressIsNoReference) {
    for (const char* scheme : {"", "hls+", "cache:", "async:"}) {
        CFFmpegStreamingDecoder decoder;
        EXPECT_EQ(decoder.Open(scheme + station_.Url("/a.aac")), 0) << scheme;
    }
    EXPECT_EQ(station_.RequestCount(), 0u);
}

}  // namespace receiver
