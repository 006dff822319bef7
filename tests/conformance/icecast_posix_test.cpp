// Against a real station: Debian's icecast2, fed by an ffmpeg source client. The receiver
// joins in mid-stream, finds the start jingle and records up to the end jingle.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "platform/clock.h"
#include "testing/receiver_fixture.h"
#include "testing/tcp_socket.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr char kPassword[] = "hackme";

// An icecast2 process of the test's own, with everything of it in one folder. It must not
// run as root, so root hands it to nobody.
class Icecast final {
public:
    explicit Icecast(const TempFolder& folder) : port_(FreePort()) {
        std::filesystem::permissions(folder.Path(), std::filesystem::perms::all);
        const std::string path = folder.Path().string();
        std::ofstream(folder.File("icecast.xml"))
            << "<icecast><limits><clients>10</clients><sources>2</sources>"
               "<queue-size>100000000</queue-size><burst-size>65535</burst-size></limits>"
               "<authentication><source-password>"
            << kPassword << "</source-password><admin-user>admin</admin-user><admin-password>"
            << kPassword << "</admin-password></authentication><listen-socket><port>" << port_
            << "</port><bind-address>127.0.0.1</bind-address></listen-socket><paths><basedir>"
            << path << "</basedir><logdir>" << path << "</logdir><webroot>" << path
            << "</webroot><adminroot>" << path
            << "</adminroot></paths><logging><errorlog>-</errorlog><loglevel>3</loglevel>"
               "</logging><security><chroot>0</chroot>"
            << (geteuid() == 0 ? "<changeowner><user>nobody</user><group>nogroup</group>"
                                 "</changeowner>"
                               : "")
            << "</security></icecast>";
        process_ = std::make_unique<ChildProcess>(
            "icecast2", std::vector<std::string>{"-c", folder.File("icecast.xml")},
            ChildProcess::ErrorStream::kCapture);
        WaitForLog("server started");
    }

    // Reads its log up to a line with this text.
    void WaitForLog(const std::string& text) {
        std::string last;
        const uint64_t deadline = TickMs() + kPatienceMs;
        while (const auto line = process_->ReadErrorLine(deadline)) {
            last = *line;
            if (last.find(text) != std::string::npos) return;
        }
        throw std::runtime_error("icecast2 did not say \"" + text + "\" but: " + last);
    }

    std::string Url(const std::string& scheme) const {
        return scheme + "127.0.0.1:" + std::to_string(port_) + "/radio";
    }

private:
    static uint16_t FreePort() { return TcpSocket::ListenOnLoopback().Port(); }  // closed again

    const uint16_t port_;
    std::unique_ptr<ChildProcess> process_;  // killed by its destructor
};

// Pushes what a gated route gives it to the mount /radio.
class SourceClient final {
public:
    SourceClient(const std::string& input, const Icecast& server, AudioCoding coding)
        : process_("ffmpeg",
                   {"-nostdin", "-loglevel", "error", "-i", input, "-c", "copy", "-flush_packets",
                    "1", "-content_type", MimeTypeOf(coding), "-f",
                    coding == AudioCoding::kMp3 ? "mp3" : "ogg",
                    server.Url(std::string("icecast://source:") + kPassword + "@")},
                   ChildProcess::ErrorStream::kCapture) {}

private:
    ChildProcess process_;
};

class IcecastTest : public ReceiverTest, public testing::WithParamInterface<AudioCoding> {};

}  // namespace

TEST_P(IcecastTest, AListenerThatJoinsInMidStreamRecordsFromJingleToJingle) {
    // 12 s before the listener comes, more than it and the source client analyse; a tail that
    // nobody hears to its end, because a source that leaves takes its listeners with it.
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    const TestPcm audio = Concatenate(
        {MakeMusic(9, 44100, 2, 44100 * 16), broadcast.audio, MakeMusic(10, 44100, 2, 44100 * 12)});
    StationRoute feed;
    feed.body = EncodeAudio(audio, GetParam());
    feed.contentType = MimeTypeOf(GetParam());
    feed.gated = true;
    const size_t bytes = feed.body.size();
    const double bytesPerFrame = static_cast<double>(bytes) / static_cast<double>(audio.Frames());
    const auto before = static_cast<size_t>(bytesPerFrame * 44100 * 12);
    station_.Serve("/feed", std::move(feed));
    station_.Release("/feed", before);

    Icecast icecast(folder_);
    const SourceClient source(station_.Url("/feed"), icecast, GetParam());
    icecast.WaitForLog("listener count on /radio now 0");

    const std::vector<ReferenceFile> jingles = SaveJingles(broadcast);
    json prepare = PrepareCommand("s", icecast.Url("http://"), jingles, 60000, 0);
    ASSERT_EQ(receiver_.Ask(prepare)["type"], "ACK");
    icecast.WaitForLog("listener count on /radio now 1");
    station_.Release("/feed", bytes - before - static_cast<size_t>(bytesPerFrame * 44100 * 3));

    const json ready = receiver_.WaitFor("READY");
    WaitUntilOutroIsKnown();
    RawAudioClient audioClient;
    ASSERT_TRUE(audioClient.Connect(ready["uri"]) && audioClient.ReadHeader() &&
                audioClient.ReadToEnd() && audioClient.Acknowledge());
    const json finished = receiver_.WaitFor("FINISHED");
    EXPECT_EQ(finished["reason"], "eof") << finished;
    EXPECT_EQ(finished["program"]["reason"], "outro");
    const auto frames = static_cast<double>(audioClient.Frames());
    const auto expected = static_cast<double>(broadcast.tailFrame - broadcast.startJingleFrame);
    EXPECT_NEAR(frames, expected, 2.0 * kHopSamples);

    if (!IsLossless(GetParam())) return;
    // Somewhere within a hop of the jingle lies the very same audio.
    const std::vector<int16_t>& pcm = audioClient.Pcm();
    const size_t jingle = (44100 * 16 + broadcast.startJingleFrame) * 2;
    const auto first =
        audio.samples.begin() + static_cast<std::ptrdiff_t>(jingle - 2 * kHopSamples);
    const auto last = first + static_cast<std::ptrdiff_t>(4 * kHopSamples + pcm.size());
    EXPECT_NE(std::search(first, last, pcm.begin(), pcm.end()), last);
}

INSTANTIATE_TEST_SUITE_P(Codings, IcecastTest,
                         testing::Values(AudioCoding::kMp3, AudioCoding::kOggFlac),
                         [](const auto& coding) { return std::string(NameOf(coding.param)); });

}  // namespace receiver
