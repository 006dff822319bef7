// What is the same on every platform but can be shown on one: that the list of formats is the
// Windows build's, certificates, the environment, and names that other systems do not allow.
#include "audio/source_policy.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

#include "audio/ffmpeg_network_audio_file.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/pcm_reading.h"
#include "testing/playlist.h"
#include "testing/scripted_audio_file.h"
#include "testing/temp_folder.h"
#include "testing/tls_station_posix.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

std::string ReadScript() {
    std::ifstream script(FFMPEG_COMPONENTS);
    return {std::istreambuf_iterator<char>(script), {}};
}

class SourcePolicyPosixTest : public testing::Test {
protected:
    StationRoute Route(const std::string& type, const std::string& body) const {
        StationRoute route;
        route.contentType = type;
        route.body = body;
        return route;
    }
    void ServePlaylist(const std::string& body) {
        station_.Serve("/radio.m3u8", Route("application/vnd.apple.mpegurl", body));
    }
    void ExpectNotPlayed() {
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        EXPECT_EQ(file.Open(station_.Url("/radio.m3u8")), 0);
        EXPECT_EQ(secure_.ServedRequests(), 0u);
    }

    const TestPcm pcm_ = MakeMusic(3, 44100, 1, 44100 * 2);
    const std::string aac_ = EncodeAudio(pcm_, AudioCoding::kAacAdts);
    HttpStation station_;
    TlsStation secure_{"audio/aac", aac_};
};

// The variables that programs take a proxy from, set for the length of a test.
class ProxyVariables final {
public:
    explicit ProxyVariables(const std::string& proxy) {
        for (const char* name : kNames) setenv(name, proxy.c_str(), 1);
    }
    ~ProxyVariables() {
        for (const char* name : kNames) unsetenv(name);
    }
    ProxyVariables(const ProxyVariables&) = delete;
    ProxyVariables& operator=(const ProxyVariables&) = delete;

private:
    static constexpr const char* kNames[] = {"http_proxy", "https_proxy", "all_proxy",
                                             "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY"};
};

}  // namespace

TEST_F(SourcePolicyPosixTest, TheListIsThatOfTheWindowsBuild) {
    std::set<std::string> built;
    const std::string script = ReadScript();
    const std::regex option("--enable-demuxer=([a-z0-9_,]+)");
    for (std::sregex_iterator match(script.begin(), script.end(), option), end; match != end;
         ++match) {
        std::istringstream names((*match)[1]);
        for (std::string name; std::getline(names, name, ',');) {
            const bool raw = name.starts_with("pcm_");  // which FFmpeg calls s16le and so on
            built.insert(raw ? name.substr(4) : name);
        }
    }
    EXPECT_EQ(built, std::set<std::string>(kNetworkDemuxers.begin(), kNetworkDemuxers.end()));
}

TEST_F(SourcePolicyPosixTest, TheWindowsBuildHasEveryProtocolThatIsOffered) {
    std::smatch match;
    const std::string script = ReadScript();
    ASSERT_TRUE(std::regex_search(script, match, std::regex("--enable-protocol=([a-z0-9_,]+)")));
    const std::string built = "," + match[1].str() + ",";
    std::istringstream offered(kNetworkProtocols);
    for (std::string name; std::getline(offered, name, ',');) {
        EXPECT_NE(built.find("," + name + ","), std::string::npos) << name;
    }
}

TEST_F(SourcePolicyPosixTest, TheCertificateOfASegmentIsVerified) {
    ServePlaylist(MakePlaylist({secure_.Url("/a.aac")}));
    ExpectNotPlayed();
}

TEST_F(SourcePolicyPosixTest, TheCertificateOfAPlaylistWithinAPlaylistIsVerified) {
    ServePlaylist("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=64000\n" + secure_.Url("/a.m3u8") + "\n");
    ExpectNotPlayed();
}

TEST_F(SourcePolicyPosixTest, TheCertificateOfAKeyIsVerified) {
    station_.Serve("/secret.aac", Route("audio/aac", EncryptSegment(aac_)));
    ServePlaylist(MakePlaylist({"secret.aac"}, secure_.Url("/key")));
    ExpectNotPlayed();
}

TEST_F(SourcePolicyPosixTest, TheCertificateOfAnEncryptedSegmentIsVerified) {
    station_.Serve("/key", Route("application/octet-stream", kTestKey));
    ServePlaylist(MakePlaylist({secure_.Url("/secret.aac")}, station_.Url("/key")));
    ExpectNotPlayed();
}

TEST_F(SourcePolicyPosixTest, TheCertificateOfAnInitialisationSectionIsVerified) {
    ServePlaylist("#EXTM3U\n#EXT-X-VERSION:6\n#EXT-X-TARGETDURATION:2\n#EXT-X-MAP:URI=\"" +
                  secure_.Url("/init.mp4") + "\"\n#EXTINF:2.0,\n/a.aac\n#EXT-X-ENDLIST\n");
    ExpectNotPlayed();
}

TEST_F(SourcePolicyPosixTest, TheCertificateBehindARedirectIsVerified) {
    StationRoute away;
    away.status = 302;
    away.redirectTo = secure_.Url("/a.aac");
    station_.Serve("/a.aac", away);
    ServePlaylist(MakePlaylist({"a.aac"}));
    ExpectNotPlayed();
}

TEST_F(SourcePolicyPosixTest, AProxyInTheEnvironmentIsNotAsked) {
    HttpStation proxy;
    const ProxyVariables variables(proxy.Url(""));
    station_.Serve("/a.aac", Route("audio/aac", aac_));
    ServePlaylist(MakePlaylist({"a.aac"}));
    for (const char* path : {"/a.aac", "/radio.m3u8"}) {
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        EXPECT_TRUE(file.Open(station_.Url(path))) << path;
    }
    CFFmpegNetworkAudioFile secured(nullptr, kTestDeadlineMs);
    EXPECT_EQ(secured.Open(secure_.Url("/a.aac")), 0);
    EXPECT_EQ(proxy.RequestCount(), 0u);
}

TEST_F(SourcePolicyPosixTest, ANameWithAColonIsAFileAndNoProtocol) {
    const TempFolder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    for (const char* name : {"20:00 news.aac", "http:a.aac", "data:a.aac", "pipe:0", "-"}) {
        WriteFileBytes(folder.File(name), aac_);
        CFFmpegStreamingDecoder decoder;
        EXPECT_TRUE(decoder.Open(name)) << name;
    }
    std::filesystem::current_path(before);
}

}  // namespace receiver
