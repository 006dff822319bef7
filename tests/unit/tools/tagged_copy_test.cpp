#include "recording/tagged_copy.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

#include "audio/ffmpeg.h"
#include "audio/ffmpeg_streaming_decoder.h"
#include "fake_sink.h"
#include "platform/text.h"
#include "testing/audio_generator.h"
#include "testing/pcm_reading.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr size_t kFrames = 100000;
constexpr double kSeconds = 2.2;
constexpr size_t kResampledAway = 16;  // frames at the end, on the way to 48000 Hz and back
constexpr size_t kAacDelay = 1024;

// With lower-case keys; of the file and, where a container keeps them there, the stream.
std::map<std::string, std::string> TagsOf(const std::string& path) {
    AVFormatContext* context = nullptr;
    EXPECT_GE(avformat_open_input(&context, path.c_str(), nullptr, nullptr), 0);
    const InputContextPtr input(context);
    std::map<std::string, std::string> tags;
    if (input == nullptr) return tags;
    for (const AVDictionary* dictionary : {input->metadata, input->streams[0]->metadata}) {
        const AVDictionaryEntry* entry = nullptr;
        while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
            tags[ToLowerAscii(entry->key)] = entry->value;
        }
    }
    return tags;
}

std::vector<int16_t> Decode(const std::string& path) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(44100);
    EXPECT_TRUE(decoder.Open(path)) << decoder.ErrorCode();
    return ReadToEnd(decoder).Samples();
}

class TaggedCopyTest : public testing::Test {
protected:
    // A recording that knows nothing of its end yet.
    std::string Record(const std::string& extension) {
        FakeSink sink;
        AudioEncoder encoder(OutputFormatFor(extension), 44100, 2, {{"comment", "early"}}, sink);
        const TestPcm pcm = MakeMusic(1, 44100, 2, kFrames);
        EXPECT_TRUE(encoder.Write(pcm.samples.data(), kFrames));
        EXPECT_TRUE(encoder.Finish()) << encoder.FailureText();
        const std::string path = folder_.File("recorded" + extension);
        WriteFileBytes(path, sink.Bytes());
        return path;
    }

    TempFolder folder_;
    FakeSink sink_;
    const RecordingTags tags_ = {{"comment", "from 5 to 9"}, {"end_sample", "9"}};
};

class TaggedCopyOfFormatTest : public TaggedCopyTest,
                               public testing::WithParamInterface<const char*> {};

std::string NameOf(const testing::TestParamInfo<const char*>& extension) {
    return extension.param + 1;
}

}  // namespace

TEST_P(TaggedCopyOfFormatTest, EverySampleIsKeptUnderTheNewTags) {
    const std::string extension = GetParam();
    if (SupportedExtensions().find(extension) == std::string::npos) GTEST_SKIP();
    const std::string recorded = Record("x" + extension);
    CopyWithTags(recorded, OutputFormatFor(recorded), tags_, kSeconds, sink_);
    const std::string copy = folder_.File("copy" + extension);
    WriteFileBytes(copy, sink_.Bytes());
    EXPECT_EQ(TagsOf(recorded)["comment"], "early");
    std::map<std::string, std::string> tags = TagsOf(copy);
    EXPECT_EQ(tags["comment"], "from 5 to 9");
    // These two only have room for the usual tags.
    if (extension != ".wav" && extension != ".m4a") {
        EXPECT_EQ(tags["end_sample"], "9");
    }
    const std::vector<int16_t> samples = Decode(copy);
    EXPECT_GE(samples.size(), (kFrames - kResampledAway) * 2);
    // FFmpeg 5 shows the encoder's own delay at the start of MP4 in fragments, and 7 does not.
    const bool showsDelay = extension == ".m4a" && LIBAVFORMAT_VERSION_MAJOR < 60;
    std::vector<int16_t> before = Decode(recorded);
    ASSERT_GE(before.size(), samples.size());
    const size_t delay = before.size() - samples.size();
    EXPECT_EQ(delay, showsDelay ? kAacDelay * 2 : 0);
    before.erase(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(delay));
    EXPECT_EQ(samples, before);
}

INSTANTIATE_TEST_SUITE_P(Formats, TaggedCopyOfFormatTest,
                         testing::Values(".wav", ".flac", ".opus", ".ogg", ".mp3", ".m4a"), NameOf);

TEST_F(TaggedCopyTest, ADiskWithoutRoomForTheCopyIsAnErrorWithItsText) {
    const std::string recorded = Record("x.flac");
    sink_.SetCapacity(50000);
    try {
        CopyWithTags(recorded, OutputFormatFor(recorded), tags_, kSeconds, sink_);
        FAIL() << "copied";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "No space left");
    }
}

TEST_F(TaggedCopyTest, ARecordingThatCannotBeReadToItsEndIsAnError) {
    const std::string recorded = Record("x.flac");
    std::filesystem::resize_file(recorded, std::filesystem::file_size(recorded) / 2);
    EXPECT_THROW(CopyWithTags(recorded, OutputFormatFor(recorded), tags_, kSeconds, sink_),
                 std::runtime_error);
}

TEST_F(TaggedCopyTest, WhatIsNoRecordingIsAnError) {
    const std::string path = folder_.File("x.wav");
    WriteFileBytes(path, "no audio at all");
    EXPECT_THROW(CopyWithTags(path, WavFormat(), tags_, 0, sink_), std::runtime_error);
}

}  // namespace receiver
