#include "receiver_record/request/encoder_options.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace receiver {
namespace {

// What is said against these values for this output; empty for nothing.
std::string Refusal(const std::string& output, const std::string& bitRate,
                    const std::string& quality = "") {
    try {
        EncoderFormat(output, CheckEncoder({.bitRate = bitRate, .quality = quality}));
        return "";
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
}

}  // namespace

TEST(EncoderOptions, WithoutAValueTheFormatsOwnIsKept) {
    const OutputFormat format = EncoderFormat("a.mp3", CheckEncoder({}));
    EXPECT_EQ(format.bitRate, 256000);
    EXPECT_FALSE(format.quality);
    EXPECT_STREQ(EncoderFormat("-", {}).extension, ".wav");
}

TEST(EncoderOptions, ABitRateIsOneOfKilobitsWithOrWithoutAnEnding) {
    for (const char* const text : {"96", "96k", "96K"}) {
        EXPECT_EQ(EncoderFormat("a.mp3", CheckEncoder({.bitRate = text, .quality = ""})).bitRate,
                  96000)
            << text;
    }
}

TEST(EncoderOptions, AQualityTakesThePlaceOfTheBitRate) {
    EXPECT_EQ(EncoderFormat("a.mp3", CheckEncoder({.bitRate = "", .quality = "0"})).quality, 0);
}

TEST(EncoderOptions, WhatIsNoNumberIsRefused) {
    for (const char* const text : {"k", "-1", "96kbit", "1e3", "9999999", " 96"}) {
        EXPECT_EQ(Refusal("a.mp3", text),
                  "--bitrate: invalid number \"" + std::string(text) + "\"");
    }
    EXPECT_EQ(Refusal("a.mp3", "", "2k"), "--quality: invalid number \"2k\"");
}

TEST(EncoderOptions, ABitRateOutOfRangeIsRefusedWithTheRange) {
    EXPECT_EQ(Refusal("a.mp3", "31"),
              "--bitrate: 31 is not between 32 and 320, which .mp3 can have");
    EXPECT_EQ(Refusal("a.mp3", "32"), "");
    EXPECT_EQ(Refusal("a.mp3", "320"), "");
    EXPECT_NE(Refusal("a.mp3", "321"), "");
    EXPECT_NE(Refusal("a.mp3", "", "10"), "");
    EXPECT_EQ(Refusal("a.mp3", "", "9"), "");
}

TEST(EncoderOptions, AFormatThatLosesNothingHasNeither) {
    EXPECT_EQ(Refusal("a.flac", "128"), "--bitrate: .flac keeps every sample as it is");
    EXPECT_EQ(Refusal("a.wav", "", "2"), "--quality: .wav keeps every sample as it is");
    EXPECT_EQ(Refusal("-", "128"), "--bitrate: .wav keeps every sample as it is");
}

TEST(EncoderOptions, AFormatWithoutQualitiesSaysWhatItHas) {
    EXPECT_EQ(Refusal("a.m4a", "", "2"), "--quality: .m4a has none; --bitrate sets how good it is");
}

TEST(EncoderOptions, BothAtOnceAreRefused) {
    EXPECT_EQ(Refusal("a.mp3", "128", "2"), "--bitrate and --quality cannot both be given");
}

}  // namespace receiver
