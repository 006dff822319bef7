// The network source under the buffer, as a session stacks them: what comes out is the
// stream, to the sample, however it was sent.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <tuple>

#include "audio/ffmpeg_network_audio_file.h"
#include "audio/rubber_buffer_audio_file.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/pcm_reading.h"
#include "testing/scripted_audio_file.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

ReadOutcome ReceiveStream(const std::string& url) {
    auto cancellation = std::make_shared<CFFmpegNetworkCancellation>();
    CRubberBufferAudioFile buffer(
        std::make_unique<CFFmpegNetworkAudioFile>(cancellation, kTestDeadlineMs),
        [cancellation] { cancellation->Cancel(); }, 4096, kTestDeadlineMs);
    EXPECT_TRUE(buffer.Open(url));
    return ReadToEnd(buffer, {1764, 1001, 65536});
}

std::vector<uint8_t> DecodeLocally(const std::string& bytes) {
    const TempFolder folder;
    WriteFileBytes(folder.File("stream"), bytes);
    CFFmpegStreamingDecoder decoder;
    EXPECT_TRUE(decoder.Open(folder.File("stream")));
    return ReadToEnd(decoder, {4096}).bytes;
}

// Without a Content-Length FFmpeg does not cut off the padding that an MP3 encoder adds at the
// end; everything before it is the same.
void ExpectSameStream(AudioCoding coding, const ReadOutcome& outcome,
                      const std::vector<uint8_t>& expected) {
    if (coding != AudioCoding::kMp3) {
        EXPECT_TRUE(outcome.bytes == expected) << outcome.bytes.size() << " " << expected.size();
        return;
    }
    ASSERT_GE(outcome.bytes.size(), expected.size());
    EXPECT_LT(outcome.bytes.size(), expected.size() + 44100 / 5 * 4);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), outcome.bytes.begin()));
}

StationRoute RouteOf(const std::string& body, AudioCoding coding, BodyFraming framing) {
    StationRoute route;
    route.contentType = MimeTypeOf(coding);
    route.body = body;
    route.framing = framing;
    route.pieceBytes = 1000;
    return route;
}

using FormatCase = std::tuple<AudioCoding, int, int>;  // coding, rate, channels

class StreamFormatTest : public testing::TestWithParam<FormatCase> {};

class StreamTransportTest : public testing::TestWithParam<AudioCoding> {
protected:
    void SetUp() override {
        if (!CanEncode(GetParam())) GTEST_SKIP() << "no encoder here";
        body_ = EncodeAudio(MakeMusic(5, 44100, 2, 44100 * 2), GetParam());
        expected_ = DecodeLocally(body_);
        ASSERT_GT(expected_.size(), 176400u * 3 / 2);
    }

    std::string body_;
    std::vector<uint8_t> expected_;
    HttpStation station_;
};

}  // namespace

TEST_P(StreamFormatTest, ThePcmIsTheStreamToTheSample) {
    const auto [coding, rate, channels] = GetParam();
    if (!CanEncode(coding)) GTEST_SKIP() << "no encoder here";
    const TestPcm pcm = MakeMusic(4, rate, channels, static_cast<size_t>(rate) * 2);
    const std::string body = EncodeAudio(pcm, coding);
    HttpStation station;
    station.Serve("/stream", RouteOf(body, coding, BodyFraming::kChunked));
    const ReadOutcome outcome = ReceiveStream(station.Url("/stream"));
    EXPECT_EQ(outcome.last, 0);
    ExpectSameStream(coding, outcome,
                     rate == 44100 && IsLossless(coding) ? BytesOf(pcm) : DecodeLocally(body));
    const double seconds = static_cast<double>(outcome.bytes.size()) / (44100.0 * 2 * channels);
    EXPECT_NEAR(seconds, 2.0, 0.1);
}

INSTANTIATE_TEST_SUITE_P(Formats, StreamFormatTest,
                         testing::Combine(testing::ValuesIn(kAllAudioCodings),
                                          testing::Values(22050, 32000, 44100, 48000),
                                          testing::Values(1, 2)),
                         [](const auto& format) {
                             return std::string(NameOf(std::get<0>(format.param))) + "_" +
                                    std::to_string(std::get<1>(format.param)) +
                                    (std::get<2>(format.param) == 1 ? "_mono" : "_stereo");
                         });

TEST_P(StreamTransportTest, WithAContentLength) {
    station_.Serve("/s", RouteOf(body_, GetParam(), BodyFraming::kContentLength));
    const ReadOutcome outcome = ReceiveStream(station_.Url("/s"));
    EXPECT_EQ(outcome.bytes, expected_);
    EXPECT_EQ(outcome.last, 0);
}

// Whether the end of the connection is an end or an error depends on FFmpeg's release.
TEST_P(StreamTransportTest, UntilTheConnectionCloses) {
    station_.Serve("/s", RouteOf(body_, GetParam(), BodyFraming::kUntilClose));
    ExpectSameStream(GetParam(), ReceiveStream(station_.Url("/s")), expected_);
}

TEST_P(StreamTransportTest, ThroughRedirects) {
    station_.Serve("/s", RouteOf(body_, GetParam(), BodyFraming::kChunked));
    StationRoute second;
    second.status = 301;
    second.redirectTo = station_.Url("/s");
    station_.Serve("/second", second);
    StationRoute first;
    first.status = 302;
    first.redirectTo = "/second";
    station_.Serve("/first", first);
    ExpectSameStream(GetParam(), ReceiveStream(station_.Url("/first")), expected_);
    EXPECT_EQ(station_.RequestCount(), 3u);
}

TEST_P(StreamTransportTest, WithIcyMetadataBetweenTheAudio) {
    StationRoute route = RouteOf(body_, GetParam(), BodyFraming::kContentLength);
    route.icyMetaInterval = 997;
    route.headers = {{"icy-name", "Test station"}, {"icy-br", "128"}};
    station_.Serve("/s", route);
    EXPECT_EQ(ReceiveStream(station_.Url("/s")).bytes, expected_);
}

INSTANTIATE_TEST_SUITE_P(Codings, StreamTransportTest, testing::ValuesIn(kAllAudioCodings),
                         [](const auto& coding) { return std::string(NameOf(coding.param)); });

TEST(StreamOverHttp, WhatIsBufferedBeforeAResetStillDrains) {
    const TestPcm pcm = MakeNoise(6, 44100, 2, 44100 * 4);
    const std::string body = EncodeAudio(pcm, AudioCoding::kFlac);
    HttpStation station;
    StationRoute route = RouteOf(body, AudioCoding::kFlac, BodyFraming::kContentLength);
    route.gated = true;
    route.resetAfter = body.size() - 1000;
    station.Serve("/s", route);
    station.Release("/s", body.size() / 2);
    auto cancellation = std::make_shared<CFFmpegNetworkCancellation>();
    CRubberBufferAudioFile buffer(
        std::make_unique<CFFmpegNetworkAudioFile>(cancellation, kTestDeadlineMs),
        [cancellation] { cancellation->Cancel(); }, 4096, kTestDeadlineMs);
    ASSERT_TRUE(buffer.Open(station.Url("/s")));
    ASSERT_TRUE(buffer.WaitForSample(44100, kTestDeadlineMs));
    station.ReleaseAll("/s");
    EXPECT_FALSE(buffer.WaitForSample(44100 * 4, kTestDeadlineMs));
    ASSERT_TRUE(buffer.GetStats().finished);
    const ReadOutcome outcome = ReadToEnd(buffer);
    EXPECT_EQ(outcome.last, -1);
    EXPECT_EQ(buffer.GetStats().error, 30u);
    ASSERT_GT(outcome.bytes.size(), 44100u * 4);
    const auto expected = BytesOf(pcm);
    EXPECT_TRUE(std::equal(outcome.bytes.begin(), outcome.bytes.end(), expected.begin()));
}

}  // namespace receiver
