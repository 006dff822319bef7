#include "audio/audio_file.h"

#include <gtest/gtest.h>

#include <cstring>

#include "testing/pcm_format.h"
#include "testing/scripted_audio_file.h"

namespace receiver {
namespace {

// The least that a stage of the chain is; its length and format are the test's.
class PlainAudioFile final : public CAudioFile {
public:
    explicit PlainAudioFile(int bits = 16) : record_(FormatOf(2, 44100, bits)) {}
    BOOL Open(const std::string&) override {
        format_ = &record_;
        open_ = 1;
        return 1;
    }
    BOOL Close() override {
        open_ = 0;
        return 1;
    }
    int32_t Read(void*, uint32_t) override { return -1; }
    BOOL Seek(float) override { return 0; }
    bool IsOpen() const override { return open_ != 0; }
    void SetLength(uint64_t length) { length_ = length; }
    const WAVEFORMATEX* Record() const { return &record_; }
    PlainAudioFile& With(const WAVEFORMATEX& record) {
        record_ = record;
        return *this;
    }
    void OpenWithoutFormat() { open_ = 1; }

private:
    WAVEFORMATEX record_;
};

}  // namespace

TEST(AudioFile, FormatOfAFileNeverOpenedIsRefusedAndLeavesThePointer) {
    PlainAudioFile file;
    const WAVEFORMATEX marker;
    const WAVEFORMATEX* format = &marker;
    EXPECT_EQ(file.GetFormat(&format), 4u);
    EXPECT_EQ(format, &marker);
}

TEST(AudioFile, FormatOfAnOpenFileIsItsRecord) {
    PlainAudioFile file;
    ASSERT_TRUE(file.Open(""));
    const WAVEFORMATEX* format = nullptr;
    EXPECT_EQ(file.GetFormat(&format), 0u);
    EXPECT_EQ(format, file.Record());
}

TEST(AudioFile, InfoOfAClosedFileIsRefusedAndWritesNothing) {
    PlainAudioFile file;
    AudioFileInfo info;
    std::memset(&info, 0x5A, sizeof info);
    AudioFileInfo before = info;
    EXPECT_EQ(file.GetInfo(&info), 0);
    EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0);
}

TEST(AudioFile, InfoGivesTheLengthInBytesSecondsAndMilliseconds) {
    PlainAudioFile file;
    ASSERT_TRUE(file.Open(""));
    file.SetLength(176400 * 3 + 88200 + 176);  // 3.5 s and just below another millisecond
    AudioFileInfo info{};
    ASSERT_EQ(file.GetInfo(&info), 1);
    EXPECT_EQ(info.lengthBytes, 617576u);
    EXPECT_EQ(info.wholeSeconds, 3u);
    EXPECT_EQ(info.milliseconds, 500);
    EXPECT_EQ(info.channels, 2);
    EXPECT_EQ(info.sampleRate, 44100u);
}

TEST(AudioFile, InfoKeepsTheLowBitsOfALengthBeyond32Bits) {
    PlainAudioFile file;
    ASSERT_TRUE(file.Open(""));
    file.SetLength((uint64_t{1} << 32) + 7);
    AudioFileInfo info{};
    ASSERT_EQ(file.GetInfo(&info), 1);
    EXPECT_EQ(info.lengthBytes, 7u);
    EXPECT_EQ(info.wholeSeconds, 24347u);  // 4294967303 / 176400
    EXPECT_EQ(info.milliseconds, 887);
}

TEST(AudioFile, InfoOfAnUnknownLengthIsAllZero) {
    PlainAudioFile file;
    ASSERT_TRUE(file.Open(""));
    AudioFileInfo info{1, 1, 0, 0, 1};
    ASSERT_EQ(file.GetInfo(&info), 1);
    EXPECT_EQ(info.lengthBytes, 0u);
    EXPECT_EQ(info.wholeSeconds, 0u);
    EXPECT_EQ(info.milliseconds, 0);
}

TEST(AudioFile, InfoOfAFormatWithoutAByteRateDoesNotDivideByIt) {
    ScriptedAudioFile file;
    file.record.nAvgBytesPerSec = 0;
    ASSERT_TRUE(file.Open(""));
    AudioFileInfo info{1, 1, 0, 0, 1};
    ASSERT_EQ(file.GetInfo(&info), 1);
    EXPECT_EQ(info.wholeSeconds, 0u);
    EXPECT_EQ(info.milliseconds, 0);
    EXPECT_EQ(info.channels, 2);
}

TEST(AudioFile, PositionIsUnknownUnlessTheClassKnowsBetter) {
    PlainAudioFile file;
    EXPECT_EQ(file.GetPositionMs(), 0xFFFFFFFFu);
}

TEST(AudioFile, SilenceByteIsZeroFor16BitsAnd0x80For8) {
    PlainAudioFile wide(16);
    PlainAudioFile narrow(8);
    ASSERT_TRUE(wide.Open("") && narrow.Open(""));
    uint8_t silence = 0x11;
    wide.GetSilenceByte(&silence);
    EXPECT_EQ(silence, 0);
    narrow.GetSilenceByte(&silence);
    EXPECT_EQ(silence, 0x80);
}

TEST(AudioFile, SilenceByteIsLeftAloneForOtherWidthsAndWhenClosed) {
    PlainAudioFile wide(32);
    PlainAudioFile closed(8);
    ASSERT_TRUE(wide.Open(""));
    uint8_t silence = 0x11;
    wide.GetSilenceByte(&silence);
    closed.GetSilenceByte(&silence);
    EXPECT_EQ(silence, 0x11);
}

TEST(AudioFile, Only16BitIntegerPcmInFramesOfASizeIsTaken) {
    PlainAudioFile file;
    EXPECT_EQ(FormatOf16BitPcm(file), nullptr);
    ASSERT_TRUE(file.Open(""));
    EXPECT_EQ(FormatOf16BitPcm(file), file.Record());
    WAVEFORMATEX changed = *file.Record();
    changed.wFormatTag = 3;
    EXPECT_EQ(FormatOf16BitPcm(file.With(changed)), nullptr);
    for (const uint16_t bits : std::initializer_list<uint16_t>{0, 8, 15, 24, 32}) {
        changed = *PlainAudioFile().Record();
        changed.wBitsPerSample = bits;
        EXPECT_EQ(FormatOf16BitPcm(file.With(changed)), nullptr) << bits;
    }
    changed = *PlainAudioFile().Record();
    changed.nBlockAlign = 0;
    EXPECT_EQ(FormatOf16BitPcm(file.With(changed)), nullptr);
}

TEST(AudioFile, AFileThatHasNoFormatIsNotTaken) {
    PlainAudioFile file;
    file.OpenWithoutFormat();
    EXPECT_EQ(FormatOf16BitPcm(file), nullptr);
}

}  // namespace receiver
