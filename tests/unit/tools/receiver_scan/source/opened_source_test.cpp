#include "receiver_scan/source/opened_source.h"

#include <gtest/gtest.h>

#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {

TEST(OpenedSource, APublicNameHasNothingSecretOfAUrl) {
    EXPECT_EQ(PublicName("http://radio.example/live.mp3"), "http://radio.example/live.mp3");
    EXPECT_EQ(PublicName("https://me:pw@radio.example:8000/a@b?token=1#x"),
              "https://radio.example:8000/a@b");
    EXPECT_EQ(PublicName("http://radio.example?key=secret@host/"), "http://radio.example");
    EXPECT_EQ(PublicName("http://a@b@host/live"), "http://host/live");
    EXPECT_EQ(PublicName("a?b@c#d.wav"), "a?b@c#d.wav");
    EXPECT_EQ(PublicName("-"), "standard input");
}

TEST(OpenedSource, AFileOfAnyRateComesAsTheReceiverTakesItWithItsLength) {
    const TempFolder folder;
    WriteWavFile(folder.File("a.wav"), MakeMusic(1, 22050, 1, 22050 * 3 / 2));
    const OpenedSource source = OpenSource(folder.File("a.wav"));
    const WAVEFORMATEX* format = FormatOf16BitPcm(*source.file);
    ASSERT_NE(format, nullptr);
    EXPECT_EQ(format->nSamplesPerSec, 44100u);
    EXPECT_EQ(source.lengthMs, 1500u);
    EXPECT_FALSE(source.isLive);
}

TEST(OpenedSource, WhatCannotBeOpenedIsNamedWithoutItsSecrets) {
    const auto why = [](const std::string& source) {
        try {
            OpenSource(source, 1000);
        } catch (const SourceError& error) {
            return std::string(error.what());
        }
        return std::string("no error");
    };
    const TempFolder folder;
    const std::string missing = folder.File("missing.wav");
    EXPECT_EQ(why(missing).rfind("cannot open " + missing + ": ", 0), 0u);
    // Port 1 on loopback refuses.
    EXPECT_EQ(why("http://me:pw@127.0.0.1:1/live?token=x")
                  .rfind("cannot open http://127.0.0.1:1/live: ", 0),
              0u);
}

}  // namespace receiver
