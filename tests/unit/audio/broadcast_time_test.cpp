// What a decoder says of the broadcast's own time.
#include <gtest/gtest.h>

#include <algorithm>
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

INSTANTIATE_TEST_SUITE_P(Codings, BroadcastTimeOfOggTest,
                         testing::Values(AudioCoding::kOggVorbis, AudioCoding::kOggFlac),
                         NameOfCase);
INSTANTIATE_TEST_SUITE_P(Codings, NoBroadcastTimeTest,
                         testing::Values(AudioCoding::kMp3, AudioCoding::kAacAdts,
                                         AudioCoding::kFlac, AudioCoding::kWav),
                         NameOfCase);

}  // namespace receiver
