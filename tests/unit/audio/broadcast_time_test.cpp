// What a decoder says of the broadcast's own time.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "audio/ffmpeg_network_audio_file.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/pcm_reading.h"
#include "testing/scripted_audio_file.h"
#include "testing/tuning_in.h"

namespace receiver {
namespace {

constexpr uint32_t kSourceRate = 44100;
constexpr size_t kMatchFrames = 2000;
constexpr uint32_t kShortStallMs = 500;

struct Listening {
    std::optional<double> timeOfStart;
    std::vector<int16_t> samples;  // of two channels
};

class BroadcastTimeTest : public testing::TestWithParam<AudioCoding> {
protected:
    void SetUp() override {
        if (!CanEncode(GetParam())) GTEST_SKIP() << "this FFmpeg has no such encoder";
        broadcast_ =
            EncodeAudio(MakeMusic(5, kSourceRate, 2, 12 * kSourceRate), GetParam(), 128000);
    }
    Listening Listen(const std::string& bytes) {
        StationRoute route;
        route.contentType = MimeTypeOf(GetParam());
        route.body = bytes;
        station_.Serve("/radio", route);
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        file.SetOutputSampleRate(0);
        EXPECT_TRUE(file.Open(station_.Url("/radio"))) << file.GetErrorText();
        EXPECT_FALSE(file.TimeOfStart().has_value()) << "before the first frame";
        Listening listening;
        listening.samples = ReadToEnd(file).Samples();
        listening.timeOfStart = file.TimeOfStart();
        return listening;
    }

    HttpStation station_;
    std::string broadcast_;
};

using BroadcastTimeOfOggTest = BroadcastTimeTest;
using NoBroadcastTimeTest = BroadcastTimeTest;

std::string NameOfCase(const testing::TestParamInfo<AudioCoding>& info) {
    return NameOf(info.param);
}

}  // namespace

TEST_P(BroadcastTimeOfOggTest, WhoTunesInLaterIsAheadByTheFramesThatHeHasMissed) {
    const Listening whole = Listen(broadcast_);
    const Listening later = Listen(TuneIn(broadcast_, GetParam(), broadcast_.size() / 2).bytes);
    ASSERT_TRUE(whole.timeOfStart && later.timeOfStart);
    // Well after a decoder that began amid the stream has settled.
    const auto piece = later.samples.end() - 4 * kMatchFrames;
    const auto same =
        std::search(whole.samples.begin(), whole.samples.end(), piece, piece + 2 * kMatchFrames);
    ASSERT_NE(same, whole.samples.end());
    const auto missed = ((same - whole.samples.begin()) - (piece - later.samples.begin())) / 2;
    EXPECT_GT(missed, 3 * kSourceRate);
    EXPECT_NEAR((*later.timeOfStart - *whole.timeOfStart) * kSourceRate,
                static_cast<double>(missed), 0.01);
}

TEST_P(NoBroadcastTimeTest, WhereTimesBeginAnewWithEachListenerThereIsNone) {
    EXPECT_FALSE(Listen(broadcast_).timeOfStart.has_value());
}

// FFmpeg reads MP3 in pieces that end amid a frame: what has arrived tells the time all the same.
TEST(ArrivedAudioTest, OfFramesOfOneSizeAllThatHasArrivedCounts) {
    if (!CanEncode(AudioCoding::kMp3)) GTEST_SKIP() << "this FFmpeg has no such encoder";
    constexpr double kBytesPerSecond = 16000;
    const std::string broadcast =
        EncodeAudio(MakeMusic(6, kSourceRate, 2, 12 * kSourceRate), AudioCoding::kMp3, 128000);
    StationRoute route;
    route.contentType = MimeTypeOf(AudioCoding::kMp3);
    route.body = TuneIn(broadcast, AudioCoding::kMp3, broadcast.size() / 10).bytes;
    HttpStation station;
    for (const size_t bytes : {150001u, 150500u, 151000u, 151500u}) {
        route.stallAfter = bytes;
        station.Serve("/radio", route);
        CFFmpegNetworkAudioFile file(nullptr, kShortStallMs);
        file.SetOutputSampleRate(0);
        ASSERT_TRUE(file.Open(station.Url("/radio"))) << file.GetErrorText();
        const double sent = static_cast<double>(bytes) / kBytesPerSecond;
        double heard = 0.0, arrived = 0.0, ahead = 0.0;
        while (arrived < sent - 0.001) {
            std::array<int16_t, 512> piece;
            const int32_t read = file.Read(piece.data(), sizeof piece);
            ASSERT_GT(read, 0) << "after " << arrived << " of " << sent;
            heard += static_cast<double>(read) / 4 / kSourceRate;
            ahead = file.SecondsAhead();
            arrived = heard + ahead;
        }
        EXPECT_LT(arrived, sent + 0.001);
        EXPECT_GT(ahead, 0.0);
    }
}

TEST(ArrivedAudioTest, OfFramesThatDifferOnlyWhatIsDecodedCounts) {
    StationRoute route;
    route.contentType = MimeTypeOf(AudioCoding::kAacAdts);
    route.body = EncodeAudio(MakeMusic(7, kSourceRate, 2, 4 * kSourceRate), AudioCoding::kAacAdts);
    route.stallAfter = route.body.size() - 1000;
    HttpStation station;
    station.Serve("/radio", route);
    CFFmpegNetworkAudioFile file(nullptr, kShortStallMs);
    ASSERT_TRUE(file.Open(station.Url("/radio"))) << file.GetErrorText();
    EXPECT_GT(ReadToEnd(file).Samples().size(), 0U);
    EXPECT_EQ(file.SecondsAhead(), 0.0);
}

INSTANTIATE_TEST_SUITE_P(Codings, BroadcastTimeOfOggTest,
                         testing::Values(AudioCoding::kOggVorbis, AudioCoding::kOggFlac),
                         NameOfCase);
INSTANTIATE_TEST_SUITE_P(Codings, NoBroadcastTimeTest,
                         testing::Values(AudioCoding::kMp3, AudioCoding::kAacAdts,
                                         AudioCoding::kFlac, AudioCoding::kWav),
                         NameOfCase);

}  // namespace receiver
