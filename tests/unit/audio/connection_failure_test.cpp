// What a failed connection tells about its cause, from FFmpeg's log and results.
#include "audio/connection_failure.h"

#include <gtest/gtest.h>

#include "audio/ffmpeg.h"
#include "audio/ffmpeg_log_listener.h"
#include "audio/ffmpeg_network_audio_file.h"
#include "audio/retry_after_request.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/pcm_reading.h"
#include "testing/scripted_audio_file.h"
#include "testing/tcp_socket.h"

extern "C" {
#include <libavutil/log.h>
}

namespace receiver {
namespace {

void LogHeader(const char* line) {
    av_log(nullptr, AV_LOG_TRACE, "header='%s'\n", line);
}

class ConnectionFailureTest : public testing::Test {
protected:
    void Answer(int status, std::vector<std::pair<std::string, std::string>> headers = {}) {
        StationRoute route;
        route.status = status;
        route.headers = std::move(headers);
        station_.Serve("/a", route);
    }
    ConnectionFailure Open(const std::string& url, bool asksForRetryAfter = false) {
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        file.SetAsksForRetryAfter(asksForRetryAfter);
        EXPECT_EQ(file.Open(url), 0) << url;
        return file.Failure();
    }

    HttpStation station_;
};

}  // namespace

TEST_F(ConnectionFailureTest, AnAnswersStatusIsTold) {
    for (const int status : {400, 401, 403, 404, 500, 503}) {
        Answer(status);
        const ConnectionFailure failure = Open(station_.Url("/a"));
        EXPECT_EQ(failure.httpStatus, status);
        EXPECT_EQ(failure.decoderError, kDecoderErrorOpen);
        EXPECT_LT(failure.averror, 0);
        EXPECT_FALSE(failure.timedOut);
        EXPECT_FALSE(failure.lookupFailed);
    }
    EXPECT_EQ(station_.RequestCount(), 6U) << "nobody is asked twice";
}

TEST_F(ConnectionFailureTest, OfARedirectTheLastAnswerCounts) {
    StationRoute moved;
    moved.status = 302;
    moved.redirectTo = "/gone";
    station_.Serve("/a", moved);
    EXPECT_EQ(Open(station_.Url("/a")).httpStatus, 404);
}

TEST_F(ConnectionFailureTest, ABusyServersRetryAfterIsTold) {
    for (const int status : {429, 503}) {
        Answer(status, {{"Retry-After", "17"}});
        EXPECT_EQ(Open(station_.Url("/a"), true).retryAfterSeconds, 17U) << status;
    }
}

TEST_F(ConnectionFailureTest, WhoIsNotBusyOrSaysADateGivesNoRetryAfter) {
    Answer(503, {{"Retry-After", "Fri, 31 Dec 2027 23:59:59 GMT"}});
    EXPECT_FALSE(Open(station_.Url("/a"), true).retryAfterSeconds);
    Answer(503);
    EXPECT_FALSE(Open(station_.Url("/a"), true).retryAfterSeconds);
    const size_t before = station_.RequestCount();
    Answer(404, {{"Retry-After", "17"}});
    Open(station_.Url("/a"), true);
    EXPECT_EQ(station_.RequestCount(), before + 1);
}

TEST_F(ConnectionFailureTest, ARefusedConnectionHasNoStatus) {
    const uint16_t port = TcpSocket::ListenOnLoopback().Port();
    const auto failure = Open("http://127.0.0.1:" + std::to_string(port) + "/a");
    EXPECT_EQ(failure.httpStatus, 0);
    // FFmpeg on Windows takes a refusal for silence.
    EXPECT_TRUE(failure.averror == AVERROR(ECONNREFUSED) || failure.averror == AVERROR(ETIMEDOUT));
}

TEST_F(ConnectionFailureTest, AHostWithoutAnAddressIsTold) {
    const auto failure = Open("http://no-such-host.invalid/a");
    EXPECT_TRUE(failure.lookupFailed || failure.timedOut);
    EXPECT_EQ(failure.httpStatus, 0);
}

TEST_F(ConnectionFailureTest, APageThatIsNoAudioHasItsStatusAndTheDecodersError) {
    StationRoute page;
    page.contentType = "text/html";
    page.body = "<html>moved</html>";
    station_.Serve("/a", page);
    const auto failure = Open(station_.Url("/a"));
    EXPECT_EQ(failure.httpStatus, 200);
    EXPECT_EQ(failure.averror, 0);
    EXPECT_NE(failure.decoderError, kDecoderErrorNone);
}

TEST_F(ConnectionFailureTest, ATimeOutAndACancellationAreTold) {
    StationRoute route;
    route.headStallAfter = 20;
    station_.Serve("/a", route);
    const auto cancellation = std::make_shared<CFFmpegNetworkCancellation>();
    CFFmpegNetworkAudioFile file(cancellation, 100);
    ASSERT_EQ(file.Open(station_.Url("/a")), 0);
    EXPECT_TRUE(file.Failure().timedOut);
    EXPECT_FALSE(file.Failure().cancelled);
    cancellation->Cancel();
    EXPECT_TRUE(file.Failure().cancelled);
}

TEST_F(ConnectionFailureTest, TheEndAndTheFailureOfAStreamAreToldApart) {
    StationRoute route;
    route.body = EncodeAudio(MakeNoise(1, 44100, 2, 88200), AudioCoding::kFlac);
    station_.Serve("/a", route);
    CFFmpegNetworkAudioFile whole(nullptr, kTestDeadlineMs);
    ASSERT_TRUE(whole.Open(station_.Url("/a")));
    EXPECT_EQ(whole.Failure().averror, 0);
    ReadToEnd(whole);
    EXPECT_EQ(whole.Failure().averror, AVERROR_EOF);
    EXPECT_EQ(whole.Failure().httpStatus, 200);
    route.closeAfter = route.body.size() / 2;
    station_.Serve("/a", route);
    CFFmpegNetworkAudioFile cut(nullptr, kTestDeadlineMs);
    ASSERT_TRUE(cut.Open(station_.Url("/a")));
    ReadToEnd(cut);
    EXPECT_LT(cut.Failure().averror, 0);
    EXPECT_NE(cut.Failure().averror, AVERROR_EOF);
}

TEST(FfmpegLogListener, HearsTheHeadOfTheLastAnswer) {
    SilenceFfmpegLog();
    const FfmpegLogListener listener;
    LogHeader("HTTP/1.1 302 Found");
    LogHeader("Retry-After: 5");
    LogHeader("");
    EXPECT_TRUE(listener.HeardWholeAnswer());
    LogHeader("HTTP/1.1 503 Service Unavailable");
    EXPECT_EQ(listener.Heard().httpStatus, 503);
    EXPECT_FALSE(listener.Heard().retryAfterSeconds);
    EXPECT_FALSE(listener.HeardWholeAnswer());
    LogHeader("retry-after:  120 ");
    EXPECT_EQ(listener.Heard().retryAfterSeconds, 120U);
    LogHeader("ICY 200 OK");
    EXPECT_EQ(listener.Heard().httpStatus, 200);
    LogHeader("HTTP/1.1");
    EXPECT_EQ(listener.Heard().httpStatus, 0);
}

TEST(FfmpegLogListener, AnInnerOneHearsInsteadOfTheOuter) {
    SilenceFfmpegLog();
    const FfmpegLogListener outer;
    {
        const FfmpegLogListener inner;
        LogHeader("HTTP/1.1 404 Not Found");
        EXPECT_EQ(inner.Heard().httpStatus, 404);
    }
    LogHeader("HTTP/1.1 410 Gone");
    EXPECT_EQ(outer.Heard().httpStatus, 410);
}

TEST(RetryAfter, IsAWholeNumberOfSecondsAndNothingElse) {
    EXPECT_EQ(RetryAfterOf(" 30\t"), 30U);
    EXPECT_EQ(RetryAfterOf("0"), 0U);
    for (const char* text : {"", " ", "-1", "1.5", "3 s", "Fri, 31 Dec 1999", "4294967296"}) {
        EXPECT_FALSE(RetryAfterOf(text)) << text;
    }
}

}  // namespace receiver
