#include "audio/ffmpeg_network_audio_file.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/clock.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/pcm_reading.h"
#include "testing/scripted_audio_file.h"
#include "testing/tcp_socket.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

class NetworkTest : public testing::Test {
protected:
    std::unique_ptr<CFFmpegNetworkAudioFile> MakeFile(uint32_t timeoutMs = kTestDeadlineMs) {
        return std::make_unique<CFFmpegNetworkAudioFile>(cancellation_, timeoutMs);
    }

    StationRoute FlacRoute() const {
        StationRoute route;
        route.contentType = "audio/flac";
        route.body = flac_;
        return route;
    }

    void ExpectRefusedUrl(const std::string& url) {
        const auto file = MakeFile();
        EXPECT_EQ(file->Open(url), 0) << url;
        EXPECT_EQ(file->ErrorCode(), kDecoderErrorOpen) << url;
        EXPECT_EQ(file->GetErrorText(), "Invalid argument") << url;
        EXPECT_EQ(station_.RequestCount(), 0u) << url;
    }

    const TestPcm pcm_ = MakeNoise(1, 44100, 2, 44100 * 4);
    const std::string flac_ = EncodeAudio(pcm_, AudioCoding::kFlac);
    const std::shared_ptr<CFFmpegNetworkCancellation> cancellation_ =
        std::make_shared<CFFmpegNetworkCancellation>();
    HttpStation station_;
};

// A port where nobody listens, until somebody else takes it.
uint16_t FreePort() {
    return TcpSocket::ListenOnLoopback().Port();
}

}  // namespace

TEST_F(NetworkTest, UrlsOfOtherSchemesAreRefusedBeforeAnyAccess) {
    const std::string rest = "127.0.0.1:" + std::to_string(station_.Port()) + "/a";
    ExpectRefusedUrl("ftp://" + rest);
    ExpectRefusedUrl("http:/" + rest);
    ExpectRefusedUrl("https:/" + rest);
    ExpectRefusedUrl("file:///etc/passwd");
    ExpectRefusedUrl("plain.flac");
    ExpectRefusedUrl(" http://" + rest);
    ExpectRefusedUrl("");
}

TEST_F(NetworkTest, APrefixInCapitalsIsAccepted) {
    station_.Serve("/a", FlacRoute());
    const auto file = MakeFile();
    EXPECT_TRUE(file->Open("HTTP://127.0.0.1:" + std::to_string(station_.Port()) + "/a"));
}

TEST_F(NetworkTest, ATimeOutOfZeroIs15Seconds) {
    EXPECT_EQ(CFFmpegNetworkAudioFile(nullptr, 0).TimeoutMs(), 15000u);
    EXPECT_EQ(CFFmpegNetworkAudioFile(nullptr, 7).TimeoutMs(), 7u);
}

TEST_F(NetworkTest, WithoutASharedCancellationItHasItsOwn) {
    station_.Serve("/a", FlacRoute());
    CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
    EXPECT_TRUE(file.Open(station_.Url("/a")));
}

TEST_F(NetworkTest, TheStreamHasNoLength) {
    station_.Serve("/a", FlacRoute());
    const auto file = MakeFile();
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    AudioFileInfo info{1, 1, 0, 0, 1};
    ASSERT_EQ(file->GetInfo(&info), 1);
    EXPECT_EQ(info.lengthBytes, 0u);
    EXPECT_EQ(info.wholeSeconds, 0u);
    EXPECT_EQ(info.milliseconds, 0);
}

TEST_F(NetworkTest, OpenOnAnOpenStreamFailsAndLeavesItPlaying) {
    station_.Serve("/a", FlacRoute());
    const auto file = MakeFile();
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    EXPECT_EQ(file->Open(station_.Url("/a")), 0);
    EXPECT_EQ(ReadToEnd(*file).bytes, BytesOf(pcm_));
}

TEST_F(NetworkTest, SeekIsAlwaysRefused) {
    station_.Serve("/a", FlacRoute());
    const auto file = MakeFile();
    EXPECT_EQ(file->Seek(0.0F), 0);
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    EXPECT_EQ(file->Seek(0.0F), 0);
    EXPECT_EQ(file->ErrorCode(), kDecoderErrorSeek);
    EXPECT_EQ(file->GetErrorText(), "Function not implemented");
    EXPECT_EQ(file->GetPositionMs(), 0xFFFFFFFFu);
    EXPECT_EQ(ReadToEnd(*file).bytes, BytesOf(pcm_));
}

TEST_F(NetworkTest, AFailureOfTheDecoderIsWordedByItsCode) {
    const auto file = MakeFile();
    EXPECT_EQ(file->GetErrorText(), "Decoder error 0x0");
    EXPECT_EQ(file->Open(station_.Url("/missing")), 0);
    EXPECT_EQ(file->ErrorCode(), 256u);
    EXPECT_EQ(file->GetErrorText(), "Decoder error 0x100");
}

TEST_F(NetworkTest, APortWhereNobodyListensFailsToOpen) {
    const auto file = MakeFile();
    EXPECT_EQ(file->Open("http://127.0.0.1:" + std::to_string(FreePort()) + "/a"), 0);
    EXPECT_EQ(file->ErrorCode(), kDecoderErrorOpen);
}

TEST_F(NetworkTest, APageThatIsNoAudioFailsToOpen) {
    StationRoute page;
    page.contentType = "text/html";
    page.body = "<html><body>The stream has moved.</body></html>";
    station_.Serve("/page", page);
    const auto file = MakeFile();
    EXPECT_EQ(file->Open(station_.Url("/page")), 0);
    EXPECT_FALSE(file->IsOpen());
}

TEST_F(NetworkTest, AnEmptyBodyFailsToOpen) {
    station_.Serve("/empty", {});
    EXPECT_EQ(MakeFile()->Open(station_.Url("/empty")), 0);
}

TEST_F(NetworkTest, ALoopOfRedirectsFailsToOpen) {
    StationRoute loop;
    loop.status = 302;
    loop.redirectTo = "/loop";
    station_.Serve("/loop", loop);
    EXPECT_EQ(MakeFile()->Open(station_.Url("/loop")), 0);
}

TEST_F(NetworkTest, AStationThatStallsInItsHeadEndsOpenAtTheTimeOut) {
    StationRoute route = FlacRoute();
    route.headStallAfter = 20;
    station_.Serve("/a", route);
    const auto file = MakeFile(300);
    const uint64_t start = TickMs();
    EXPECT_EQ(file->Open(station_.Url("/a")), 0);
    EXPECT_GE(TickMs() + 16, start + 300);  // the clock may step by 16 ms
    EXPECT_EQ(file->GetErrorText(), "Network operation timed out");
}

TEST_F(NetworkTest, AStreamThatStallsBeforeItsAudioEndsOpenAtTheTimeOut) {
    StationRoute route = FlacRoute();
    route.stallAfter = 3;
    station_.Serve("/a", route);
    const auto file = MakeFile(300);
    const uint64_t start = TickMs();
    EXPECT_EQ(file->Open(station_.Url("/a")), 0);
    EXPECT_GE(TickMs() + 16, start + 300);
    EXPECT_EQ(file->GetErrorText(), "Network operation timed out");
}

TEST_F(NetworkTest, AStreamThatStallsWhilePlayingEndsReadAtTheTimeOut) {
    StationRoute route = FlacRoute();
    route.stallAfter = flac_.size() - 20000;
    station_.Serve("/a", route);
    const auto file = MakeFile(300);
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    const ReadOutcome outcome = ReadToEnd(*file);
    EXPECT_EQ(outcome.last, -1);
    EXPECT_GT(outcome.bytes.size(), pcm_.Bytes() / 2);
    const auto expected = BytesOf(pcm_);
    EXPECT_TRUE(std::equal(outcome.bytes.begin(), outcome.bytes.end(), expected.begin()));
    EXPECT_EQ(file->GetErrorText(), "Network operation timed out");
}

TEST_F(NetworkTest, CloseAfterATimeOutKeepsTheReason) {
    StationRoute route = FlacRoute();
    route.stallAfter = 3;
    station_.Serve("/a", route);
    const auto file = MakeFile(100);
    ASSERT_EQ(file->Open(station_.Url("/a")), 0);
    EXPECT_EQ(file->Close(), 1);
    EXPECT_EQ(file->GetErrorText(), "Network operation timed out");
}

TEST_F(NetworkTest, EachReadHasATimeOutOfItsOwn) {
    station_.Serve("/a", FlacRoute());
    StationRoute stalled = FlacRoute();
    stalled.stallAfter = 3;
    station_.Serve("/stalled", stalled);
    const auto file = MakeFile(200);
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    // Longer than the time-out passes; a deadline from the opening would be over.
    ASSERT_EQ(MakeFile(400)->Open(station_.Url("/stalled")), 0);
    EXPECT_EQ(ReadToEnd(*file, {4096}).bytes, BytesOf(pcm_));
}

TEST_F(NetworkTest, CancellingBeforeOpenRefusesIt) {
    station_.Serve("/a", FlacRoute());
    cancellation_->Cancel();
    const auto file = MakeFile();
    EXPECT_EQ(file->Open(station_.Url("/a")), 0);
    EXPECT_EQ(file->ErrorCode(), kDecoderErrorOpen);
    EXPECT_EQ(file->GetErrorText(), "Cancelled");
    EXPECT_EQ(station_.RequestCount(), 0u);
}

TEST_F(NetworkTest, CancellingEndsABlockedOpen) {
    StationRoute route = FlacRoute();
    route.headStallAfter = 20;
    station_.Serve("/a", route);
    const auto file = MakeFile(600000);
    TestTask opened("the opened call", [&] { return file->Open(station_.Url("/a")); });
    EXPECT_TRUE(station_.WaitForStall("/a", kTestDeadlineMs));
    cancellation_->Cancel();
    EXPECT_EQ(opened.Get(), 0);
    EXPECT_EQ(file->GetErrorText(), "Cancelled");
}

TEST_F(NetworkTest, CancellingEndsABlockedRead) {
    StationRoute route = FlacRoute();
    route.stallAfter = flac_.size() / 2;
    station_.Serve("/a", route);
    const auto file = MakeFile(600000);
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    TestTask read("the read call", [&] { return ReadToEnd(*file).last; });
    EXPECT_TRUE(station_.WaitForStall("/a", kTestDeadlineMs));
    cancellation_->Cancel();
    EXPECT_EQ(read.Get(), -1);
    EXPECT_EQ(file->GetErrorText(), "Cancelled");
    EXPECT_EQ(file->Close(), 1);
}

TEST_F(NetworkTest, CancelledIsToldEvenAfterATimeOut) {
    StationRoute route = FlacRoute();
    route.stallAfter = 3;
    station_.Serve("/a", route);
    const auto file = MakeFile(50);
    ASSERT_EQ(file->Open(station_.Url("/a")), 0);
    cancellation_->Cancel();
    EXPECT_EQ(file->GetErrorText(), "Cancelled");
}

TEST_F(NetworkTest, AResetBeforeAnyDataFailsToOpen) {
    StationRoute route = FlacRoute();
    route.resetAfter = 0;
    station_.Serve("/a", route);
    EXPECT_EQ(MakeFile()->Open(station_.Url("/a")), 0);
}

TEST_F(NetworkTest, AResetWhilePlayingIsAnErrorAfterTheDataBeforeIt) {
    StationRoute route = FlacRoute();
    route.gated = true;
    route.resetAfter = 450000;
    station_.Serve("/a", route);
    station_.Release("/a", 440000);
    const auto file = MakeFile();
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    ReadOutcome outcome = ReadBytes(*file, 100000);
    ASSERT_EQ(outcome.bytes.size(), 100000u);
    station_.ReleaseAll("/a");
    const ReadOutcome rest = ReadToEnd(*file);
    EXPECT_EQ(rest.last, -1);
    outcome.bytes.insert(outcome.bytes.end(), rest.bytes.begin(), rest.bytes.end());
    const auto expected = BytesOf(pcm_);
    ASSERT_LT(outcome.bytes.size(), expected.size());
    EXPECT_TRUE(std::equal(outcome.bytes.begin(), outcome.bytes.end(), expected.begin()));
}

TEST_F(NetworkTest, ABodyShorterThanItsContentLengthIsAnError) {
    StationRoute route = FlacRoute();
    route.closeAfter = flac_.size() / 2;
    station_.Serve("/a", route);
    const auto file = MakeFile();
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    const ReadOutcome outcome = ReadToEnd(*file);
    EXPECT_EQ(outcome.last, -1);
    EXPECT_GT(outcome.bytes.size(), pcm_.Bytes() / 4);
}

TEST_F(NetworkTest, AClosedStreamCanBeOpenedAgain) {
    station_.Serve("/a", FlacRoute());
    const auto file = MakeFile();
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    EXPECT_EQ(file->Close(), 1);
    EXPECT_EQ(file->Close(), 1);
    ASSERT_TRUE(file->Open(station_.Url("/a")));
    EXPECT_EQ(ReadToEnd(*file).bytes, BytesOf(pcm_));
}

}  // namespace receiver
