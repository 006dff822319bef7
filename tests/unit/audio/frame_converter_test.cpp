#include "audio/frame_converter.h"

#include <gtest/gtest.h>

#include <vector>

namespace receiver {
namespace {

CodecContextPtr MakeCodec(int rate, AVSampleFormat format, int channels) {
    CodecContextPtr codec(avcodec_alloc_context3(nullptr));
    codec->sample_rate = rate;
    codec->sample_fmt = format;
    av_channel_layout_default(&codec->ch_layout, channels);
    return codec;
}

// Every sample is its own index, in every channel.
FramePtr MakeFrame(int rate, int channels, int samples) {
    FramePtr frame(av_frame_alloc());
    frame->sample_rate = rate;
    frame->format = AV_SAMPLE_FMT_S16P;
    frame->nb_samples = samples;
    av_channel_layout_default(&frame->ch_layout, channels);
    EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
    for (int channel = 0; channel < channels; ++channel) {
        auto* plane = reinterpret_cast<int16_t*>(frame->extended_data[channel]);
        for (int i = 0; i < samples; ++i) plane[i] = static_cast<int16_t>(i);
    }
    return frame;
}

std::vector<int16_t> Convert(FrameConverter& converter, const AVFrame& frame, int skip = 0) {
    EXPECT_TRUE(converter.Accept(frame));
    const auto bound = static_cast<size_t>(converter.OutputBound(frame.nb_samples - skip));
    std::vector<int16_t> output(bound * static_cast<size_t>(converter.OutputChannels()));
    const int made = converter.Convert(frame, skip, reinterpret_cast<uint8_t*>(output.data()),
                                       static_cast<int>(bound));
    EXPECT_GE(made, 0);
    output.resize(static_cast<size_t>(made * converter.OutputChannels()));
    return output;
}

}  // namespace

TEST(FrameConverter, InterleavesPlanesAtTheSameRateWithoutChange) {
    FrameConverter converter;
    ASSERT_TRUE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16P, 2), 44100, 16));
    const auto output = Convert(converter, *MakeFrame(44100, 2, 3));
    EXPECT_EQ(output, (std::vector<int16_t>{0, 0, 1, 1, 2, 2}));
}

TEST(FrameConverter, StartsAtTheSampleAskedFor) {
    FrameConverter converter;
    ASSERT_TRUE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16P, 2), 44100, 16));
    EXPECT_EQ(Convert(converter, *MakeFrame(44100, 2, 4), 2), (std::vector<int16_t>{2, 2, 3, 3}));
}

TEST(FrameConverter, AFrameOfFewerChannelsIsSpreadOverTheOutputChannels) {
    FrameConverter converter;
    ASSERT_TRUE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16P, 2), 44100, 16));
    Convert(converter, *MakeFrame(44100, 2, 100));
    const auto output = Convert(converter, *MakeFrame(44100, 1, 100));
    ASSERT_EQ(output.size(), 200u);
    EXPECT_GT(output[198], 0);
    EXPECT_EQ(output[198], output[199]);
}

TEST(FrameConverter, AFrameOfMoreChannelsIsMixedToTheOutputChannels) {
    FrameConverter converter;
    ASSERT_TRUE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16P, 1), 44100, 16));
    const auto output = Convert(converter, *MakeFrame(44100, 6, 100));
    ASSERT_EQ(output.size(), 100u);
    EXPECT_EQ(output[0], 0);
    EXPECT_GT(output[99], output[50]);  // as the samples of every channel do
    EXPECT_EQ(converter.OutputChannels(), 1);
}

TEST(FrameConverter, AFrameOfAnotherRateIsConvertedFromThatRate) {
    FrameConverter converter;
    ASSERT_TRUE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16P, 1), 44100, 16));
    const auto output = Convert(converter, *MakeFrame(22050, 1, 2205));
    ASSERT_NEAR(static_cast<double>(output.size()), 4410.0, 64.0);
    for (size_t i = 100; i < 4300; ++i) ASSERT_NEAR(output[i], static_cast<double>(i) / 2, 2.0);
}

TEST(FrameConverter, RefusesWidthsOtherThan8And16And32Bits) {
    FrameConverter converter;
    for (const int bits : {0, 1, 24, 64}) {
        EXPECT_FALSE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16, 2), 44100, bits)) << bits;
    }
}

TEST(FrameConverter, RefusesRatesAndChannelCountsThatNoAudioHas) {
    FrameConverter converter;
    EXPECT_FALSE(converter.Open(*MakeCodec(0, AV_SAMPLE_FMT_S16, 2), 44100, 16));
    EXPECT_FALSE(converter.Open(*MakeCodec(999, AV_SAMPLE_FMT_S16, 2), 44100, 16));
    EXPECT_FALSE(converter.Open(*MakeCodec(1536001, AV_SAMPLE_FMT_S16, 2), 44100, 16));
    EXPECT_FALSE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16, 65), 44100, 16));
    EXPECT_FALSE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16, 2), 0, 16));
}

TEST(FrameConverter, AFrameThatCannotBeConvertedIsRefusedAndALaterGoodOneIsTaken) {
    FrameConverter converter;
    ASSERT_TRUE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16P, 1), 44100, 16));
    const FramePtr frame = MakeFrame(44100, 1, 10);
    frame->sample_rate = 3;
    EXPECT_FALSE(converter.Accept(*frame));
    frame->sample_rate = 44100;
    EXPECT_EQ(Convert(converter, *frame).size(), 10u);
}

TEST(FrameConverter, RestartForgetsWhatTheResamplerHeld) {
    const auto codec = MakeCodec(48000, AV_SAMPLE_FMT_S16P, 1);
    const FramePtr frame = MakeFrame(48000, 1, 1024);
    FrameConverter converter;
    ASSERT_TRUE(converter.Open(*codec, 44100, 16));
    const auto first = Convert(converter, *frame);
    const auto second = Convert(converter, *frame);
    ASSERT_NE(first, second);
    ASSERT_TRUE(converter.Restart());
    EXPECT_EQ(Convert(converter, *frame), first);
}

TEST(FrameConverter, AnOpenThatFailsLeavesNothingOfTheOneBefore) {
    FrameConverter converter;
    ASSERT_TRUE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16P, 2), 44100, 16));
    ASSERT_FALSE(converter.Open(*MakeCodec(44100, AV_SAMPLE_FMT_S16P, 2), 0, 16));
    EXPECT_EQ(converter.OutputChannels(), 0);
    EXPECT_EQ(converter.OutputBlockAlign(), 0u);
    EXPECT_FALSE(converter.Restart());
}

}  // namespace receiver
