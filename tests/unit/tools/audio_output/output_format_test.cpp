#include "audio_output/output_format.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace receiver {

TEST(OutputFormat, TheExtensionChoosesInAnyCase) {
    EXPECT_STREQ(OutputFormatFor("a.wav").muxer, "wav");
    EXPECT_STREQ(OutputFormatFor("dir.wav/a.b.FLAC").muxer, "flac");
    EXPECT_STREQ(WavFormat().muxer, "wav");
}

TEST(OutputFormat, NoExtensionOrAnUnknownOneIsRefused) {
    for (const char* name : {"", "wav", ".wav", "a.xyz", "a.wav.txt", "a"}) {
        EXPECT_THROW(OutputFormatFor(name), std::invalid_argument) << name;
    }
}

TEST(OutputFormat, EachSupportedExtensionIsNamedOnceAndWorks) {
    const std::string all = SupportedExtensions() + " ";
    size_t at = 0;
    for (size_t space; (space = all.find(' ', at)) != std::string::npos; at = space + 1) {
        const std::string extension = all.substr(at, space - at);
        EXPECT_EQ(OutputFormatFor("x" + extension).extension, extension);
        EXPECT_EQ(all.find(extension + " ", space), std::string::npos) << extension;
    }
    EXPECT_EQ(all.rfind(".wav .flac ", 0), 0u);
}

}  // namespace receiver
