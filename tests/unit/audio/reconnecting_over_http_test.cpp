// The whole road over the network: a station that fails in every way, real decoders, real time.
#include <gtest/gtest.h>

#include <algorithm>

#include "audio/ffmpeg_network_audio_file.h"
#include "audio/reconnecting_audio_file.h"
#include "platform/clock.h"
#include "testing/audio_encoder.h"
#include "testing/http_station.h"
#include "testing/pcm_reading.h"
#include "testing/scripted_audio_file.h"
#include "testing/test_task.h"
#include "testing/tuning_in.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr uint32_t kRate = 44100;
constexpr uint32_t kStallMs = 300;
constexpr size_t kNeverHeard = 4096;  // frames at the very end: a next connection may bring them
constexpr const char* kNoEncoder = "this FFmpeg has no such encoder";

StationRoute RouteOf(AudioCoding coding, const std::string& body) {
    StationRoute route;
    route.contentType = MimeTypeOf(coding);
    route.body = body;
    return route;
}

class ReconnectingOverHttpTest : public testing::Test {
protected:
    void Plug(uint32_t reconnectMs, uint32_t ioTimeoutMs = kTestDeadlineMs, bool lostOnly = false) {
        const ConnectionFactory connect = [this, ioTimeoutMs](const ConnectionFormat& format) {
            // What is served is settled before each attempt; the last route stays.
            if (attempts_ < routes_.size()) station_.Serve("/radio", routes_[attempts_]);
            ++attempts_;
            auto file = std::make_unique<CFFmpegNetworkAudioFile>(cancellation_, ioTimeoutMs);
            file->SetOutputSampleRate(format.sampleRate);
            file->SetOutputChannels(format.channels);
            file->SetAsksForRetryAfter(true);
            const auto notes = std::make_shared<ConnectionNotes>();
            file->SetNotes(notes->Listener());
            const CFFmpegNetworkAudioFile* network = file.get();
            return SourceConnection{std::move(file), [network] { return network->Failure(); },
                                    notes};
        };
        file_.emplace(
            connect, cancellation_,
            ReconnectLimits{.reconnectMs = reconnectMs, .outputRate = kRate, .lostOnly = lostOnly},
            [this](const SourceResumption& resumption, const SourceBreak& cause) {
                resumptions_.push_back(resumption);
                causes_.push_back(cause);
            });
    }
    std::string Url() const { return station_.Url("/radio"); }

    // Broken off in this way at random places, what is heard is what the whole stream is.
    void ExpectUnbroken(AudioCoding coding) {
        const std::string broadcast =
            EncodeAudio(MakeMusic(21, kRate, 2, 12 * kRate), coding, 128000);
        station_.Serve("/whole", RouteOf(coding, broadcast));
        CFFmpegNetworkAudioFile whole(nullptr, kTestDeadlineMs);
        ASSERT_TRUE(whole.Open(station_.Url("/whole")));
        auto unbroken = ReadToEnd(whole).Samples();
        unbroken.resize(unbroken.size() - kNeverHeard * 2);
        TestRandom random(3);
        for (int turn = 0; turn < 12; ++turn) {
            const size_t cut = broadcast.size() / 2 + random.Below(broadcast.size() / 3);
            StationRoute first = RouteOf(coding, broadcast);
            if (turn % 3 == 0) first.closeAfter = cut;
            if (turn % 3 == 1) first.stallAfter = cut;
            if (turn % 3 == 2) {
                first.framing = BodyFraming::kUntilClose;
                first.body.resize(cut);
            }
            // At least two pages of Ogg, which last for a second each.
            const size_t back = broadcast.size() / 5 + random.Below(broadcast.size() / 6);
            routes_ = {first, RouteOf(coding, TuneIn(broadcast, coding, cut - back).bytes)};
            attempts_ = 0;
            resumptions_.clear();
            Plug(60000, turn % 3 == 1 ? kStallMs : kTestDeadlineMs);
            ASSERT_TRUE(file_->Open(Url()));
            const auto heard = ReadBytes(*file_, unbroken.size() * 2).Samples();
            ASSERT_EQ(resumptions_.size(), 1U) << turn;
            EXPECT_EQ(heard.size(), unbroken.size()) << turn;
            EXPECT_TRUE(heard == unbroken) << turn;
            EXPECT_TRUE(resumptions_[0].exact) << turn;
        }
    }

    HttpStation station_;
    std::vector<StationRoute> routes_;
    size_t attempts_ = 0;
    const std::shared_ptr<CFFmpegNetworkCancellation> cancellation_ =
        std::make_shared<CFFmpegNetworkCancellation>();
    std::vector<SourceResumption> resumptions_;
    std::vector<SourceBreak> causes_;
    std::optional<ReconnectingAudioFile> file_;
};

}  // namespace

TEST_F(ReconnectingOverHttpTest, Mp3ThatIsCutAnywhereGoesOnBitByBit) {
    if (!CanEncode(AudioCoding::kMp3)) GTEST_SKIP() << kNoEncoder;
    ExpectUnbroken(AudioCoding::kMp3);
}

TEST_F(ReconnectingOverHttpTest, VorbisThatIsCutAnywhereGoesOnBitByBit) {
    if (!CanEncode(AudioCoding::kOggVorbis)) GTEST_SKIP() << kNoEncoder;
    ExpectUnbroken(AudioCoding::kOggVorbis);
}

TEST_F(ReconnectingOverHttpTest, FlacThatIsCutAnywhereGoesOnBitByBit) {
    if (!CanEncode(AudioCoding::kOggFlac)) GTEST_SKIP() << kNoEncoder;
    ExpectUnbroken(AudioCoding::kOggFlac);
}

TEST_F(ReconnectingOverHttpTest, TheCauseOfAnOutageIsTold) {
    const std::string flac = EncodeAudio(MakeNoise(1, kRate, 2, 6 * kRate), AudioCoding::kFlac);
    StationRoute stalled = RouteOf(AudioCoding::kFlac, flac);
    stalled.stallAfter = flac.size() / 2;
    StationRoute missing;
    missing.status = 404;
    routes_ = {stalled, missing, RouteOf(AudioCoding::kFlac, flac)};
    Plug(60000, kStallMs);
    ASSERT_TRUE(file_->Open(Url()));
    EXPECT_EQ(ReadBytes(*file_, size_t{5} * kRate * 4).bytes.size(), size_t{5} * kRate * 4);
    ASSERT_EQ(causes_.size(), 1U);
    EXPECT_EQ(causes_[0].phase, SourceBreak::Phase::kReading);
    EXPECT_TRUE(causes_[0].failure.timedOut);
    EXPECT_EQ(resumptions_[0].attempts, 2U);
    EXPECT_EQ(file_->LastBreak().phase, SourceBreak::Phase::kOpening);
    EXPECT_EQ(file_->LastBreak().failure.httpStatus, 404);
}

TEST_F(ReconnectingOverHttpTest, WhatEachConnectionTellsAnewIsToldWhereItChanges) {
    const std::string flac = EncodeAudio(MakeNoise(1, kRate, 2, 8 * kRate), AudioCoding::kFlac);
    const auto named = [&flac](const char* station, const char* title) {
        StationRoute route = RouteOf(AudioCoding::kFlac, flac);
        route.headers = {{"icy-name", station}};
        route.icyMetaInterval = 1000;
        route.icyTitles = {title};
        return route;
    };
    routes_ = {named("Radio", "One"), named("Radio", "One"), named("Other", "Two")};
    routes_[0].closeAfter = flac.size() / 4;
    routes_[1].closeAfter = flac.size() / 2;
    Plug(60000);
    std::vector<SourceTitle> titles;
    std::vector<SourceStation> stations;
    SourceNotes notes;
    notes.onTitle = [&titles](const SourceTitle& title) { titles.push_back(title); };
    notes.onStation = [&stations](const SourceStation& station) { stations.push_back(station); };
    file_->SetNotes(notes);
    ASSERT_TRUE(file_->Open(Url()));
    EXPECT_EQ(ReadBytes(*file_, size_t{7} * kRate * 4).bytes.size(), size_t{7} * kRate * 4);
    ASSERT_EQ(resumptions_.size(), 2U);
    ASSERT_EQ(titles.size(), 2U);
    EXPECT_EQ(titles[0].title, "One");
    EXPECT_EQ(titles[1].title, "Two");
    EXPECT_EQ(titles[1].sample, resumptions_[1].sample);
    ASSERT_EQ(stations.size(), 2U);
    EXPECT_EQ(stations[0].name, "Radio");
    EXPECT_EQ(stations[0].sample, 0U);
    EXPECT_EQ(stations[1].name, "Other");
    EXPECT_EQ(stations[1].sample, resumptions_[1].sample);
}

// A mount that falls back to another codec, channel count and rate.
TEST_F(ReconnectingOverHttpTest, AnotherCodecIsConvertedToTheFirstOnesFormat) {
    if (!CanEncode(AudioCoding::kOggVorbis)) GTEST_SKIP() << kNoEncoder;
    const TestPcm stereo = MakeMusic(5, kRate, 2, 10 * kRate);
    const std::string flac = EncodeAudio(stereo, AudioCoding::kFlac);
    StationRoute first = RouteOf(AudioCoding::kFlac, flac);
    first.closeAfter = flac.size() / 2;
    const TestPcm mono = MakeMusic(6, 32000, 1, 10 * 32000);
    routes_ = {first, RouteOf(AudioCoding::kOggVorbis, EncodeAudio(mono, AudioCoding::kOggVorbis))};
    Plug(1000);
    ASSERT_TRUE(file_->Open(Url()));
    const WAVEFORMATEX* format = nullptr;
    ASSERT_EQ(file_->GetFormat(&format), CAudioFile::kFormatOk);
    const auto heard = ReadToEnd(*file_).Samples();
    EXPECT_EQ(+format->nChannels, 2);
    EXPECT_EQ(format->nSamplesPerSec, kRate);
    ASSERT_EQ(resumptions_.size(), 1U);
    EXPECT_FALSE(resumptions_[0].exact);
    // The end of it is the mono programme, in both channels.
    const size_t last = heard.size() - 2;
    for (size_t i = 0; i < 2 * kRate; i += 2) ASSERT_EQ(heard[last - i], heard[last - i + 1]) << i;
}

TEST_F(ReconnectingOverHttpTest, ABusyServerIsAskedAgainWhenItSays) {
    StationRoute busy;
    busy.status = 503;
    busy.headers = {{"Retry-After", "1"}};
    const std::string flac = EncodeAudio(MakeNoise(2, kRate, 2, 2 * kRate), AudioCoding::kFlac);
    routes_ = {busy, RouteOf(AudioCoding::kFlac, flac)};
    Plug(60000);
    const uint64_t beganMs = TickMs();
    ASSERT_TRUE(file_->Open(Url()));
    EXPECT_GE(TickMs() + 16, beganMs + 1000);  // the clock may step by 16 ms
    EXPECT_EQ(attempts_, 2U);
    EXPECT_EQ(file_->LastBreak().failure.httpStatus, 503);
    EXPECT_EQ(file_->LastBreak().failure.retryAfterSeconds, 1U);
}

TEST_F(ReconnectingOverHttpTest, CancellingEndsTheLongPauseThatAServerAsksFor) {
    StationRoute busy;
    busy.status = 503;
    busy.headers = {{"Retry-After", "3600"}};
    routes_ = {busy};
    Plug(86400000);
    TestTask opened("the opening", [this] { return file_->Open(Url()); });
    ASSERT_TRUE(station_.WaitForRequests(1, kTestDeadlineMs));
    cancellation_->Cancel();
    EXPECT_EQ(opened.Get(), 0);
}

TEST_F(ReconnectingOverHttpTest, CancellingEndsAReadThatJoins) {
    const std::string flac = EncodeAudio(MakeNoise(3, kRate, 2, 6 * kRate), AudioCoding::kFlac);
    StationRoute first = RouteOf(AudioCoding::kFlac, flac);
    first.closeAfter = flac.size() / 2;
    StationRoute second = RouteOf(AudioCoding::kFlac, flac);
    second.stallAfter = flac.size() / 3;  // before the place is reached
    routes_ = {first, second};
    Plug(86400000, 600000);
    ASSERT_TRUE(file_->Open(Url()));
    TestTask read("the read", [this] { return ReadToEnd(*file_).last; });
    EXPECT_TRUE(station_.WaitForRequests(2, kTestDeadlineMs));
    EXPECT_TRUE(station_.WaitForStall("/radio", kTestDeadlineMs));
    cancellation_->Cancel();
    EXPECT_EQ(read.Get(), -1);
    EXPECT_TRUE(resumptions_.empty());
}

// Of what is lost alone: a file that came whole has ended, and a stream without a length has not.
TEST_F(ReconnectingOverHttpTest, WhatCameAsLongAsItWasToldIsNotOpenedAgain) {
    const std::string body = WavBytes(MakeMusic(21, kRate, 2, 2 * kRate));
    routes_ = {{.contentType = "audio/wav", .body = body}};
    Plug(60000, kTestDeadlineMs, true);
    ASSERT_TRUE(file_->Open(Url()));
    const ReadOutcome outcome = ReadToEnd(*file_);
    EXPECT_EQ(outcome.last, 0);
    EXPECT_EQ(outcome.Samples().size(), size_t{2} * kRate * 2);
    EXPECT_EQ(attempts_, 1U);
}

TEST_F(ReconnectingOverHttpTest, WhatBrokeOffOrTellsNoLengthIsOpenedAgain) {
    const std::string body = WavBytes(MakeMusic(21, kRate, 2, 12 * kRate));
    StationRoute broken{.contentType = "audio/wav", .body = body};
    broken.closeAfter = body.size() / 2;
    StationRoute chunked = broken;
    chunked.closeAfter.reset();
    chunked.framing = BodyFraming::kChunked;
    chunked.body.resize(body.size() / 2);
    for (const StationRoute& first : {broken, chunked}) {
        routes_ = {first, {.contentType = "audio/wav", .body = body}};
        attempts_ = 0;
        Plug(60000, kTestDeadlineMs, true);
        ASSERT_TRUE(file_->Open(Url()));
        EXPECT_EQ(ReadToEnd(*file_).last, 0);
        EXPECT_EQ(attempts_, 2U);
    }
}

TEST_F(ReconnectingOverHttpTest, AFirstOpeningThatFailsIsNoLoss) {
    routes_ = {{.status = 503}};
    Plug(60000, kTestDeadlineMs, true);
    EXPECT_FALSE(file_->Open(Url()));
    EXPECT_EQ(attempts_, 1U);
    EXPECT_EQ(file_->LastBreak().failure.httpStatus, 503);
}

}  // namespace receiver
