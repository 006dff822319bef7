// References found in what a station sends: through each lossy coding and back.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "audio/ffmpeg_streaming_decoder.h"
#include "detect/detector_audio_file.h"
#include "testing/audio_encoder.h"
#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

struct CodingCase {
    AudioCoding coding;
    int bitRate;
    int rate;
};

class DetectorCodingTest : public testing::TestWithParam<CodingCase> {
protected:
    static TestPcm Music(uint64_t seed, uint32_t ms) {
        return MakeMusic(seed, GetParam().rate, 2, FramesOf(GetParam().rate, ms));
    }
    ReferenceFingerprint Reference(const TestPcm& pcm) {
        const std::string path = folder_.File("reference.wav");
        WriteWavFile(path, pcm);
        return LoadReference(path);
    }

    TempFolder folder_;
};

// The codecs' own delay is taken off by the demuxers, but ADTS cannot tell of the
// 1024 samples that AAC begins with: 32 ms at 32 kHz.
constexpr double kMaxDelaySeconds = 0.035;

TEST_P(DetectorCodingTest, LeavesJinglesToBeFound) {
    const CodingCase& c = GetParam();
    if (!CanEncode(c.coding)) GTEST_SKIP() << "this FFmpeg has no such encoder";
    const TestPcm opening = Music(31, 2500);
    const TestPcm closing = Music(32, 1500);
    const std::string stream = folder_.File("stream.bin");
    WriteFileBytes(stream, EncodeAudio(Concatenate({Music(33, 3210), opening, Music(34, 4000),
                                                    closing, Music(35, 1000)}),
                                       c.coding, c.bitRate));

    std::vector<DetectorMatch> matches;
    CDetectorAudioFile detector(
        std::make_unique<CFFmpegStreamingDecoder>(),
        {Reference(opening), Reference(Music(36, 2000)), Reference(closing)},
        [&](const DetectorMatch& match) { matches.push_back(match); }, 0.14);
    ASSERT_EQ(detector.Open(stream), 1);
    std::vector<char> block(16384);
    while (detector.Read(block.data(), 16384) > 0) {
    }

    ASSERT_EQ(matches.size(), 2u);
    const double tolerance = (0.0125 + kMaxDelaySeconds) * 44100;
    EXPECT_EQ(matches[0].referenceIndex, 0u);
    EXPECT_NEAR(static_cast<double>(matches[0].sample), 3.21 * 44100, tolerance);
    EXPECT_EQ(matches[1].referenceIndex, 2u);
    EXPECT_NEAR(static_cast<double>(matches[1].sample), 9.71 * 44100, tolerance);
    for (const DetectorMatch& match : matches) EXPECT_LE(match.ber, 0.14);
}

INSTANTIATE_TEST_SUITE_P(Codings, DetectorCodingTest,
                         testing::Values(CodingCase{AudioCoding::kMp3, 128000, 44100},
                                         CodingCase{AudioCoding::kMp3, 96000, 48000},
                                         CodingCase{AudioCoding::kAacAdts, 128000, 44100},
                                         CodingCase{AudioCoding::kAacAdts, 96000, 32000},
                                         CodingCase{AudioCoding::kOggVorbis, 128000, 44100},
                                         CodingCase{AudioCoding::kOggVorbis, 96000, 48000},
                                         CodingCase{AudioCoding::kOggOpus, 128000, 48000},
                                         CodingCase{AudioCoding::kOggOpus, 96000, 48000}),
                         [](const testing::TestParamInfo<CodingCase>& which) {
                             return std::string(NameOf(which.param.coding)) +
                                    std::to_string(which.param.bitRate / 1000) + "KbitOf" +
                                    std::to_string(which.param.rate) + "Hz";
                         });

}  // namespace
}  // namespace receiver
