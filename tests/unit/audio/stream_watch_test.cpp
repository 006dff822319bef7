// What a network source tells of the stream besides its audio: titles, and where it is damaged.
#include "audio/stream_watch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "audio/ffmpeg_network_audio_file.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/pcm_reading.h"
#include "testing/playlist.h"
#include "testing/scripted_audio_file.h"
#include "testing/tuning_in.h"

namespace receiver {
namespace {

constexpr uint64_t kSecond = 44100;
constexpr size_t kTsPacket = 188;

class StreamWatchTest : public testing::Test {
protected:
    void Serve(const std::string& path, const std::string& type, const std::string& body) {
        StationRoute route;
        route.contentType = type;
        route.body = body;
        station_.Serve(path, route);
    }

    // Plays the path to its end and keeps what was told.
    void Play(const std::string& path) {
        CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
        SourceNotes notes;
        notes.onTitle = [this](const SourceTitle& title) { titles_.push_back(title); };
        notes.onDamage = [this](const SourceDamage& damage) { damages_.push_back(damage); };
        notes.onStation = [this](const SourceStation& it) { stations_.push_back(it); };
        file.SetNotes(notes);
        ASSERT_TRUE(file.Open(station_.Url(path))) << file.GetErrorText();
        const ReadOutcome outcome = ReadToEnd(file);
        EXPECT_EQ(outcome.last, 0);
        frames_ = outcome.bytes.size() / 4;
    }
    void ExpectDamageNear(uint64_t sample, uint64_t within) {
        ASSERT_EQ(damages_.size(), 1u);
        EXPECT_NEAR(static_cast<double>(damages_[0].sample), static_cast<double>(sample),
                    static_cast<double>(within));
    }

    const TestPcm pcm_ = MakeMusic(3, 44100, 2, 8 * kSecond);
    HttpStation station_;
    std::vector<SourceTitle> titles_;
    std::vector<SourceDamage> damages_;
    std::vector<SourceStation> stations_;
    uint64_t frames_ = 0;
};

class UndamagedStreamTest : public StreamWatchTest,
                            public testing::WithParamInterface<AudioCoding> {};
using TunedInStreamTest = UndamagedStreamTest;

}  // namespace

TEST_P(UndamagedStreamTest, IsNotCalledDamaged) {
    if (!CanEncode(GetParam())) GTEST_SKIP() << "this FFmpeg cannot make it";
    Serve("/a", MimeTypeOf(GetParam()), EncodeAudio(pcm_, GetParam()));
    Play("/a");
    EXPECT_TRUE(damages_.empty());
    EXPECT_TRUE(titles_.empty());
    EXPECT_GT(frames_, 7 * kSecond);
}

INSTANTIATE_TEST_SUITE_P(Codings, UndamagedStreamTest, testing::ValuesIn(kAllAudioCodings),
                         [](const auto& coding) { return std::string(NameOf(coding.param)); });

TEST_P(TunedInStreamTest, IsNotCalledDamaged) {
    if (!CanEncode(GetParam())) GTEST_SKIP() << "this FFmpeg cannot make it";
    const std::string body = EncodeAudio(pcm_, GetParam());
    Serve("/a", MimeTypeOf(GetParam()), TuneIn(body, GetParam(), body.size() / 2).bytes);
    Play("/a");
    EXPECT_TRUE(damages_.empty());
    EXPECT_GT(frames_, 2 * kSecond);
}

INSTANTIATE_TEST_SUITE_P(Codings, TunedInStreamTest,
                         testing::Values(AudioCoding::kMp3, AudioCoding::kAacAdts,
                                         AudioCoding::kOggVorbis, AudioCoding::kOggOpus,
                                         AudioCoding::kOggFlac),
                         [](const auto& coding) { return std::string(NameOf(coding.param)); });

TEST_F(StreamWatchTest, TitlesAreToldWhereTheyComeAndOnlyWhenTheyChange) {
    const std::string body = EncodeAudio(pcm_, AudioCoding::kMp3);
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.body = body;
    route.icyMetaInterval = body.size() / 16;
    route.icyTitles = {"One - First", "One - First", "", "", "", "", "", "Two - Second"};
    station_.Serve("/a", route);
    Play("/a");
    ASSERT_EQ(titles_.size(), 2u);
    EXPECT_EQ(titles_[0].title, "One - First");
    EXPECT_EQ(titles_[1].title, "Two - Second");
    EXPECT_LT(titles_[0].sample, 4 * kSecond);
    // Half of the body; FFmpeg reads ahead by a buffer of 32 KiB.
    EXPECT_GT(titles_[1].sample, titles_[0].sample);
    EXPECT_LE(titles_[1].sample, 4 * kSecond + kSecond / 10);
}

TEST_F(StreamWatchTest, TheStationsNameIsTold) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.headers = {{"icy-name",
                      "Radio S\xC3\xBC"
                      "d \xFF"}};
    route.body = EncodeAudio(pcm_, AudioCoding::kMp3);
    for (const size_t interval : {size_t{0}, size_t{1000}}) {
        stations_.clear();
        route.icyMetaInterval = interval;
        station_.Serve("/a", route);
        Play("/a");
        ASSERT_EQ(stations_.size(), 1u) << interval;
        EXPECT_EQ(stations_[0].sample, 0u);
        EXPECT_EQ(stations_[0].name,
                  "Radio S\xC3\xBC"
                  "d \xEF\xBF\xBD");
    }
}

TEST_F(StreamWatchTest, AStationWithoutANameHasNone) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.headers = {{"icy-name", ""}};
    route.body = EncodeAudio(pcm_, AudioCoding::kMp3);
    station_.Serve("/a", route);
    Play("/a");
    EXPECT_TRUE(stations_.empty());
}

TEST_F(StreamWatchTest, NoNameIsLongerThanItMayBe) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.body = EncodeAudio(pcm_, AudioCoding::kMp3);
    route.icyMetaInterval = 8000;
    route.icyTitles = {std::string(1200, '\xFF')};
    route.headers = {{"icy-name", "a" + std::string(1200, '\xFF')}};
    station_.Serve("/a", route);
    Play("/a");
    std::string sound;
    for (int i = 0; i < 341; ++i) sound += "\xEF\xBF\xBD";
    ASSERT_EQ(titles_.size(), 1u);
    EXPECT_EQ(titles_[0].title, sound);
    ASSERT_EQ(stations_.size(), 1u);
    EXPECT_EQ(stations_[0].name, "a" + sound);
}

TEST_F(StreamWatchTest, ATitleThatIsNotUtf8IsMadeSound) {
    StationRoute route;
    route.contentType = "audio/mpeg";
    route.body = EncodeAudio(pcm_, AudioCoding::kMp3);
    route.icyMetaInterval = 1000;
    route.icyTitles = {"bad \xFF byte"};
    station_.Serve("/a", route);
    Play("/a");
    ASSERT_EQ(titles_.size(), 1u);
    EXPECT_EQ(titles_[0].title, "bad \xEF\xBF\xBD byte");
}

TEST_F(StreamWatchTest, EachLinkOfAChainedStreamHasItsTitle) {
    if (!CanEncode(AudioCoding::kOggVorbis)) GTEST_SKIP() << "this FFmpeg cannot make it";
    Serve("/a", "application/ogg",
          EncodeAudio(pcm_, AudioCoding::kOggVorbis, 0, "First") +
              EncodeAudio(pcm_, AudioCoding::kOggVorbis, 0, "Second"));
    Play("/a");
    ASSERT_EQ(titles_.size(), 2u);
    EXPECT_EQ(titles_[0].title, "First");
    EXPECT_EQ(titles_[0].sample, 0u);
    EXPECT_EQ(titles_[1].title, "Second");
    EXPECT_NEAR(static_cast<double>(titles_[1].sample), 8.0 * kSecond, kSecond / 20.0);
    EXPECT_TRUE(damages_.empty());
}

TEST_F(StreamWatchTest, BytesThatAreLostFromAnMp3StreamAreDamage) {
    std::string body = EncodeAudio(pcm_, AudioCoding::kMp3);
    body.erase(body.size() / 2, 3001);
    Serve("/a", "audio/mpeg", body);
    Play("/a");
    ExpectDamageNear(4 * kSecond, kSecond / 4);
}

TEST_F(StreamWatchTest, BytesThatAreLostFromAnAacStreamAreDamage) {
    std::string body = EncodeAudio(pcm_, AudioCoding::kAacAdts);
    body.erase(body.size() / 2, 3001);
    Serve("/a", "audio/aac", body);
    Play("/a");
    ExpectDamageNear(4 * kSecond, kSecond / 2);
}

TEST_F(StreamWatchTest, PagesThatAreLostFromAnOggStreamAreDamage) {
    if (!CanEncode(AudioCoding::kOggVorbis)) GTEST_SKIP() << "this FFmpeg cannot make it";
    std::string body = EncodeAudio(pcm_, AudioCoding::kOggVorbis);
    const size_t first = body.find("OggS", body.size() / 2);
    const size_t second = body.find("OggS", first + 4);
    ASSERT_NE(second, std::string::npos);
    body.erase(first, second - first);
    Serve("/a", "application/ogg", body);
    Play("/a");
    ASSERT_EQ(damages_.size(), 1u);
    EXPECT_EQ(damages_[0].kind, SourceDamage::Kind::kDiscontinuity);
    EXPECT_GT(damages_[0].frames, kSecond / 10);
    // What is missing is what the stream is shorter by.
    EXPECT_NEAR(static_cast<double>(damages_[0].frames), static_cast<double>(8 * kSecond - frames_),
                4096.0);
}

TEST_F(StreamWatchTest, ASegmentThatIsMissingFromAPlaylistIsDamageOfItsLength) {
    if (!CanEncode(AudioCoding::kAacTs)) GTEST_SKIP() << "this FFmpeg cannot make it";
    const std::string body = EncodeAudio(pcm_, AudioCoding::kAacTs);
    const size_t quarter = body.size() / kTsPacket / 4 * kTsPacket;
    std::vector<std::string> names;
    for (size_t i = 0; i < 4; ++i) {
        names.push_back("/" + std::to_string(i) + ".ts");
        const size_t length = i < 3 ? quarter : std::string::npos;
        if (i != 2) Serve(names.back(), "video/mp2t", body.substr(i * quarter, length));
    }
    Serve("/radio.m3u8", "application/vnd.apple.mpegurl", MakePlaylist(names));
    Play("/radio.m3u8");
    // The cut goes through a frame, which cannot be decoded either.
    std::erase_if(damages_, [](const SourceDamage& damage) {
        return damage.kind == SourceDamage::Kind::kUndecodable;
    });
    ASSERT_EQ(damages_.size(), 1u);
    EXPECT_NEAR(static_cast<double>(damages_[0].sample), 4.0 * kSecond, kSecond / 4.0);
    EXPECT_NEAR(static_cast<double>(damages_[0].frames), 2.0 * kSecond, kSecond / 4.0);
}

TEST_F(StreamWatchTest, AWholePlaylistIsNotDamaged) {
    if (!CanEncode(AudioCoding::kAacTs)) GTEST_SKIP() << "this FFmpeg cannot make it";
    const std::string body = EncodeAudio(pcm_, AudioCoding::kAacTs);
    const size_t half = body.size() / kTsPacket / 2 * kTsPacket;
    Serve("/0.ts", "video/mp2t", body.substr(0, half));
    Serve("/1.ts", "video/mp2t", body.substr(half));
    Serve("/radio.m3u8", "application/vnd.apple.mpegurl", MakePlaylist({"/0.ts", "/1.ts"}));
    Play("/radio.m3u8");
    EXPECT_EQ(damages_.size(), 0u);
    Serve("/a.ts", "video/mp2t", body);
    Play("/a.ts");
    EXPECT_EQ(damages_.size(), 0u);
}

TEST(StreamWatch, WhatIsMissingIsCountedToTheFrame) {
    // 77 frames of MP3 in the clock of a transport stream, which is no multiple of the rate.
    constexpr int64_t kPacketTicks = 2351;
    constexpr int64_t kMissingTicks = 181'028;
    constexpr uint64_t kMissingFrames = 77 * 1152;
    const InputContextPtr context(avformat_alloc_context());
    ASSERT_NE(context, nullptr);
    context->iformat = av_find_input_format("wav");
    AVStream* const stream = avformat_new_stream(context.get(), nullptr);
    ASSERT_NE(stream, nullptr);
    stream->time_base = {1, 90'000};
    std::vector<SourceDamage> damages;
    SourceNotes notes;
    notes.onDamage = [&damages](const SourceDamage& damage) { damages.push_back(damage); };
    StreamWatch watch(notes, kSecond);
    const PacketPtr packet(av_packet_alloc());
    ASSERT_NE(packet, nullptr);
    packet->duration = kPacketTicks;
    for (const int64_t time : {int64_t{0}, kPacketTicks + kMissingTicks}) {
        packet->dts = time;
        watch.LookAtPacket(*packet, *context, *stream);
    }
    ASSERT_EQ(damages.size(), 1u);
    EXPECT_EQ(damages[0].kind, SourceDamage::Kind::kDiscontinuity);
    EXPECT_EQ(damages[0].frames, kMissingFrames);
}

TEST_F(StreamWatchTest, WhoDoesNotAskIsToldNothing) {
    const std::string body = EncodeAudio(pcm_, AudioCoding::kMp3);
    Serve("/a", "audio/mpeg", body.substr(0, body.size() / 2) + body.substr(body.size() / 2 + 999));
    CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
    file.SetNotes({});
    ASSERT_TRUE(file.Open(station_.Url("/a")));
    EXPECT_EQ(ReadToEnd(file).last, 0);
}

}  // namespace receiver
