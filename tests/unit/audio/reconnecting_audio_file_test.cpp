#include "audio/reconnecting_audio_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "testing/pcm_reading.h"
#include "testing/simulated_station.h"

namespace receiver {
namespace {

using Phase = SourceBreak::Phase;
using Visit = SimulatedStation::Visit;

constexpr uint32_t kRate = 44100;
constexpr uint32_t kReconnectMs = 60000;
constexpr uint64_t kToleranceFrames = kRate / 20;  // 50 ms

Visit Refusal(uint64_t openingMs = 20) {
    Visit visit;
    visit.refused = true;
    visit.openingMs = openingMs;
    return visit;
}
Visit Breaking(uint64_t frames) {
    Visit visit;
    visit.frames = frames;
    return visit;
}

class ReconnectingTest : public testing::Test {
protected:
    // What is on the air outlives the listening.
    void OnAir(const TestPcm& audio, uint32_t reconnectMs) {
        station_.emplace(audio);
        station_->Wait(10000);  // there is a past for a burst to come from
        first_ = station_->LiveEdge() + 20 * kRate / 1000 - 4 * kRate;
        file_.emplace(
            station_->Factory(cancellation_), cancellation_,
            ReconnectLimits{.reconnectMs = reconnectMs, .outputRate = kRate},
            [this](const SourceResumption& resumption, const SourceBreak& cause) {
                resumptions_.push_back(resumption);
                causes_.push_back(cause);
                EXPECT_LE(file_->NextSample(), resumption.sample);
            },
            station_->Timing());
    }
    void OnAir(uint32_t reconnectMs = kReconnectMs) {
        static const TestPcm noise = MakeNoise(1, kRate, 2, size_t{120} * kRate);
        OnAir(noise, reconnectMs);
    }

    std::vector<int16_t> Hear(double seconds) {
        return ReadBytes(*file_, static_cast<size_t>(seconds * kRate) * 4).Samples();
    }
    // What was on the air from the first frame that an unbroken listener gets.
    std::vector<int16_t> Unbroken(double seconds) const {
        return station_->Audio().Range(first_, first_ + static_cast<size_t>(seconds * kRate));
    }
    void ExpectUnbroken(double seconds) {
        const auto heard = Hear(seconds);
        const auto unbroken = Unbroken(seconds);
        ASSERT_EQ(heard.size(), unbroken.size());
        EXPECT_TRUE(heard == unbroken)
            << "from frame "
            << (std::mismatch(heard.begin(), heard.end(), unbroken.begin()).first - heard.begin()) /
                   2;
    }
    // Of a connection that breaks off after so many seconds, and the next one, too late for its
    // burst: what comes then is heard later by as much as it was on the air later.
    void ExpectGap(TestRandom& random, Visit broken, Visit next, uint64_t toleranceFrames,
                   uint64_t breaksAfter = 10) {
        OnAir();
        resumptions_.clear();
        broken.frames = breaksAfter * kRate + random.Below(3 * kRate);
        broken.pieceFrames = 1 + random.Below(9000);
        next.pieceFrames = broken.pieceFrames;
        next.burstSeconds = random.Between(0.5, 3);
        station_->plan = {broken, Refusal(3500 + random.Below(12000)), next};
        ASSERT_TRUE(file_->Open("url"));
        const auto heard = Hear(static_cast<double>(breaksAfter) + 25);
        ASSERT_EQ(resumptions_.size(), 1U);
        const SourceResumption& gap = resumptions_[0];
        EXPECT_FALSE(gap.exact);
        EXPECT_EQ(gap.sample, *broken.frames);
        EXPECT_EQ(gap.repeatedFrames, 0U);
        ASSERT_GT(gap.lostFrames, 0U);
        const auto& air = station_->Audio().samples;
        const auto broadcast = [&](auto first) {
            return std::search(air.begin(), air.end(), first, first + 64) - air.begin();
        };
        const auto silence = heard.begin() + static_cast<ptrdiff_t>(gap.sample * 2);
        const auto after = silence + static_cast<ptrdiff_t>(gap.lostFrames * 2);
        EXPECT_TRUE(std::all_of(silence, after, [](int16_t s) { return s == 0; }));
        const auto truth = broadcast(after) - broadcast(heard.begin());
        EXPECT_NEAR(static_cast<double>(after - heard.begin()) / 2, static_cast<double>(truth) / 2,
                    static_cast<double>(toleranceFrames));
        EXPECT_TRUE(std::equal(after, heard.end(), air.begin() + broadcast(after)));
    }

    const std::shared_ptr<CFFmpegNetworkCancellation> cancellation_ =
        std::make_shared<CFFmpegNetworkCancellation>();
    std::optional<SimulatedStation> station_;
    uint64_t first_ = 0;  // on the air, of the first connection
    std::vector<SourceResumption> resumptions_;
    std::vector<SourceBreak> causes_;
    std::optional<ReconnectingAudioFile> file_;
};

}  // namespace

TEST_F(ReconnectingTest, WithoutABreakItIsTheConnectionsStream) {
    OnAir();
    ASSERT_TRUE(file_->Open("url"));
    EXPECT_TRUE(file_->IsOpen());
    ExpectUnbroken(10);
    EXPECT_EQ(file_->NextSample(), 10U * kRate);
    EXPECT_TRUE(resumptions_.empty());
    EXPECT_EQ(station_->attemptsMs.size(), 1U);
    EXPECT_EQ(file_->LastBreak().phase, Phase::kNone);
}

TEST_F(ReconnectingTest, AnOutageThatTheBurstCoversLeavesNoTrace) {
    OnAir();
    station_->plan = {Breaking(10 * kRate), Refusal(300), Refusal(700)};
    ASSERT_TRUE(file_->Open("url"));
    ExpectUnbroken(20);
    ASSERT_EQ(resumptions_.size(), 1U);
    EXPECT_TRUE(resumptions_[0].exact);
    EXPECT_EQ(resumptions_[0].attempts, 3U);
    EXPECT_EQ(resumptions_[0].lostFrames, 0U);
    EXPECT_GT(resumptions_[0].repeatedFrames, 0U);
    EXPECT_GE(resumptions_[0].outageMs, 1000U);
    EXPECT_LE(resumptions_[0].sample, 10U * kRate);
    EXPECT_EQ(causes_[0].phase, Phase::kReading);
    EXPECT_EQ(file_->LastBreak().failure.httpStatus, 503);
}

// A decoder may make noise of a coded frame that was cut.
TEST_F(ReconnectingTest, AnEndThatWasSpoiltIsReplacedByWhatTheNextConnectionBrings) {
    OnAir();
    Visit spoilt = Breaking(10 * kRate);
    spoilt.spoiltFrames = 1152;
    station_->plan = {spoilt};
    ASSERT_TRUE(file_->Open("url"));
    ExpectUnbroken(20);
    EXPECT_TRUE(resumptions_.at(0).exact);
}

TEST_F(ReconnectingTest, AtRandomMomentsNothingIsLostOrRepeated) {
    TestRandom random(1);
    for (int turn = 0; turn < 40; ++turn) {
        OnAir();
        resumptions_.clear();
        for (int i = 0; i < 3; ++i) {
            Visit visit = Breaking(5 * kRate + random.Below(4 * kRate));
            visit.pieceFrames = 1 + random.Below(20000);
            visit.burstSeconds = i == 0 ? 4 : random.Between(2, 10);
            visit.result = random.Below(2) == 0 ? 0 : -1;
            visit.stallMs = random.Below(1000);
            station_->plan.push_back(visit);
        }
        ASSERT_TRUE(file_->Open("url"));
        first_ = 0;
        const auto heard = Hear(18);
        // Piece sizes decide where the first connection begins.
        const auto& air = station_->Audio().samples;
        const auto begin = std::search(air.begin(), air.end(), heard.begin(), heard.begin() + 64);
        ASSERT_NE(begin, air.end()) << turn;
        EXPECT_TRUE(std::equal(heard.begin(), heard.end(), begin)) << turn;
        EXPECT_GE(resumptions_.size(), 1U) << turn;
        for (const SourceResumption& resumption : resumptions_) {
            EXPECT_TRUE(resumption.exact) << turn;
        }
    }
}

TEST_F(ReconnectingTest, WhatNoBurstCoversBecomesSilenceAsLongAsTheClockSays) {
    TestRandom random(2);
    for (int turn = 0; turn < 20; ++turn) {
        SCOPED_TRACE(turn);
        ExpectGap(random, Visit{}, Visit{}, kToleranceFrames);
    }
}

// As of frames that are read in pieces that end amid one: it is not the pieces that are timed.
TEST_F(ReconnectingTest, WhatHasComeOfAPacketThatIsNotWholeCountsToo) {
    TestRandom random(6);
    Visit inPackets;
    inPackets.packetFrames = 20 * kRate / 7;
    for (int turn = 0; turn < 10; ++turn) {
        SCOPED_TRACE(turn);
        ExpectGap(random, inPackets, inPackets, kRate / 50);
    }
}

TEST_F(ReconnectingTest, WhereTheBroadcastTellsItsTimeASilenceIsRightToTheSample) {
    TestRandom random(3);
    Visit told;
    told.timeOnAir = 123456.7;
    for (int turn = 0; turn < 20; ++turn) {
        SCOPED_TRACE(turn);
        ExpectGap(random, told, told, 0);
    }
}

// A broadcast that was begun anew meanwhile, or one that is packed for each listener.
TEST_F(ReconnectingTest, ATimeThatTheClockContradictsIsNotBelieved) {
    TestRandom random(4);
    Visit before, after, anew;
    before.timeOnAir = 123456.7;
    after.timeOnAir = before.timeOnAir.value() - 30;
    anew.countsAnew = true;
    ExpectGap(random, before, after, kToleranceFrames);
    ExpectGap(random, after, before, kToleranceFrames);
    ExpectGap(random, before, anew, kToleranceFrames);
    ExpectGap(random, before, Visit{}, kToleranceFrames);
    ExpectGap(random, Visit{}, after, kToleranceFrames);
}

TEST_F(ReconnectingTest, ConnectionsThatAllBeginAtOneTimeTellNothing) {
    TestRandom random(5);
    Visit anew;
    anew.countsAnew = true;
    anew.burstSeconds = 1;
    for (int turn = 0; turn < 8; ++turn) {
        SCOPED_TRACE(turn);
        ExpectGap(random, anew, anew, kToleranceFrames, 5);
    }
}

TEST_F(ReconnectingTest, ABurstLongerThanWhatIsKeptIsNoObstacle) {
    const TestPcm noise = MakeNoise(3, kRate, 1, 320 * kRate);
    for (const double burst : {29.0, 31.0, 75.0, 170.0}) {
        OnAir(noise, kReconnectMs);
        station_->Wait(180000);
        resumptions_.clear();
        Visit next;
        next.burstSeconds = burst;
        station_->plan = {Breaking(60 * kRate), next};
        ASSERT_TRUE(file_->Open("url"));
        first_ = station_->LiveEdge() - 4 * kRate;
        const auto heard = ReadBytes(*file_, size_t{90} * kRate * 2).Samples();
        EXPECT_TRUE(heard == station_->Audio().Range(first_, first_ + 90 * kRate)) << burst;
        EXPECT_TRUE(resumptions_.at(0).exact) << burst;
    }
}

TEST_F(ReconnectingTest, ConnectionsThatDieAgainAndAgainNeitherLoseNorRepeatNorSpin) {
    OnAir();
    TestRandom random(4);
    station_->plan.push_back(Breaking(10 * kRate));
    for (int i = 0; i < 30; ++i) {
        // Hardly beyond what was heard, or not even that.
        station_->plan.push_back(Breaking(random.Below(4 * kRate + 4000)));
    }
    ASSERT_TRUE(file_->Open("url"));
    const uint64_t beganMs = station_->attemptsMs.front();
    const auto heard = Hear(20);
    const double listenedMs = static_cast<double>(station_->NowMs() - beganMs);
    EXPECT_LE(static_cast<double>(station_->attemptsMs.size()), 3 + listenedMs / 50);
    // Everything that is not silence is where it was on the air, to within the clock's error.
    uint64_t lost = 0;
    for (const auto& resumption : resumptions_) lost += resumption.lostFrames;
    const auto& air = station_->Audio().samples;
    const auto tail = std::search(air.begin(), air.end(), heard.end() - 64, heard.end());
    ASSERT_NE(tail, air.end());
    EXPECT_NEAR(static_cast<double>(tail - air.begin()) / 2 - static_cast<double>(first_),
                static_cast<double>(heard.size()) / 2 - 32, kToleranceFrames);
    EXPECT_TRUE(lost > 0 || heard == Unbroken(20));
}

TEST_F(ReconnectingTest, PausesGrowAndStayWithinFiveSeconds) {
    OnAir();
    station_->plan.push_back(Breaking(6 * kRate));
    for (int i = 0; i < 1000; ++i) station_->plan.push_back(Refusal(1));
    ASSERT_TRUE(file_->Open("url"));
    EXPECT_EQ(Hear(10).size(), 6U * kRate * 2);
    EXPECT_EQ(ReadBytes(*file_, 4).last, -1);
    const auto& attempts = station_->attemptsMs;
    ASSERT_GE(attempts.size(), 10U);
    EXPECT_GE(attempts.back(), station_->NowMs() - 1);  // the last one when the time is over
    for (size_t i = 3; i + 1 < attempts.size(); ++i) {
        EXPECT_LE(attempts[i] - attempts[i - 1], 5000U);
        EXPECT_GE(attempts[i] - attempts[i - 1], attempts[i - 1] - attempts[i - 2]);
    }
    EXPECT_EQ(file_->LastBreak().phase, Phase::kOpening);
}

TEST_F(ReconnectingTest, WithTheLeastLuckThereIsStillAPause) {
    OnAir();
    file_.emplace(station_->Factory(cancellation_), cancellation_,
                  ReconnectLimits{.reconnectMs = 5000, .outputRate = kRate}, nullptr,
                  station_->Timing(0.0));
    for (int i = 0; i < 1000; ++i) station_->plan.push_back(Refusal(0));
    EXPECT_EQ(file_->Open("url"), 0);
    EXPECT_LE(station_->attemptsMs.size(), 102U);
}

TEST_F(ReconnectingTest, AServersRetryAfterIsRespected) {
    OnAir();
    Visit busy = Refusal();
    busy.retryAfterSeconds = 7;
    station_->plan = {busy, busy};
    ASSERT_TRUE(file_->Open("url"));
    ASSERT_EQ(station_->attemptsMs.size(), 3U);
    EXPECT_GE(station_->attemptsMs[1] - station_->attemptsMs[0], 7000U);
    EXPECT_GE(station_->attemptsMs[2] - station_->attemptsMs[1], 7000U);
}

TEST_F(ReconnectingTest, ARetryAfterBeyondTheTimeLeavesOneAttemptAtItsEnd) {
    OnAir(10000);
    Visit busy = Refusal();
    busy.retryAfterSeconds = 3600;
    station_->plan = {busy, busy, busy};
    const uint64_t beganMs = station_->NowMs();
    EXPECT_EQ(file_->Open("url"), 0);
    EXPECT_EQ(station_->attemptsMs.size(), 2U);
    EXPECT_EQ(station_->attemptsMs[1], beganMs + 10000);
}

TEST_F(ReconnectingTest, AFirstOpeningIsTriedUntilTheTimeIsOver) {
    OnAir();
    station_->plan = {Refusal(), Refusal(), Refusal()};
    ASSERT_TRUE(file_->Open("url"));
    EXPECT_EQ(station_->attemptsMs.size(), 4U);
    EXPECT_EQ(Hear(3).size(), 3U * kRate * 2);
    EXPECT_TRUE(resumptions_.empty());
}

TEST_F(ReconnectingTest, AFirstConnectionWithoutAudioIsNoOutage) {
    OnAir();
    station_->plan = {Breaking(0), Breaking(0)};
    ASSERT_TRUE(file_->Open("url"));
    EXPECT_EQ(Hear(3).size(), 3U * kRate * 2);
    EXPECT_TRUE(resumptions_.empty());
}

TEST_F(ReconnectingTest, WithoutTimeThereIsOneConnection) {
    for (const int32_t result : {0, -1}) {
        OnAir(0);
        Visit visit = Breaking(6 * kRate);
        visit.result = result;
        station_->plan = {visit};
        ASSERT_TRUE(file_->Open("url"));
        const ReadOutcome outcome = ReadToEnd(*file_);
        EXPECT_EQ(outcome.last, result);
        EXPECT_TRUE(outcome.Samples() == Unbroken(6));
        EXPECT_EQ(station_->attemptsMs.size(), 1U);
        EXPECT_EQ(file_->Read(nullptr, 4), -1);
    }
    OnAir(0);
    station_->plan = {Refusal()};
    EXPECT_EQ(file_->Open("url"), 0);
    EXPECT_EQ(station_->attemptsMs.size(), 1U);
}

// The last connection that was open decides, not the attempts after it.
TEST_F(ReconnectingTest, WhenTheTimeIsOverTheReasonIsThatOfTheLastConnection) {
    for (const int32_t result : {0, -1}) {
        OnAir(3000);
        Visit visit = Breaking(6 * kRate);
        visit.result = result;
        station_->plan = {visit};
        for (int i = 0; i < 100; ++i) station_->plan.push_back(Refusal());
        ASSERT_TRUE(file_->Open("url"));
        const ReadOutcome outcome = ReadToEnd(*file_);
        EXPECT_EQ(outcome.last, result);
        EXPECT_TRUE(outcome.Samples() == Unbroken(6)) << "what was kept back is delivered";
        EXPECT_EQ(ReadToEnd(*file_).last, result);
    }
}

// Long before the time is over.
TEST_F(ReconnectingTest, WhenThereIsNothingMoreToConnectToItIsTheEnd) {
    OnAir();
    station_->plan = {Breaking(6 * kRate)};
    int connections = 0;
    const ConnectionFactory listen = station_->Factory(cancellation_);
    const ConnectionFactory listenOnce = [&](const ConnectionFormat& format) {
        if (++connections == 1) return listen(format);
        return SourceConnection{.file = nullptr, .failure = {}, .notes = nullptr, .noMore = true};
    };
    file_.emplace(listenOnce, cancellation_,
                  ReconnectLimits{.reconnectMs = kReconnectMs, .outputRate = kRate}, nullptr,
                  station_->Timing());
    ASSERT_TRUE(file_->Open("url"));
    EXPECT_TRUE(ReadToEnd(*file_).Samples() == Unbroken(6)) << "what was kept back is delivered";
    EXPECT_EQ(connections, 2);
    connections = 1;
    EXPECT_EQ(file_->Close(), 1);
    EXPECT_EQ(file_->Open("url"), 0);
}

TEST_F(ReconnectingTest, AStallLongerThanTheTimeStillHasOneAttempt) {
    OnAir(5000);
    Visit stalled = Breaking(10 * kRate);
    stalled.stallMs = 15000;
    station_->plan = {stalled};
    ASSERT_TRUE(file_->Open("url"));
    EXPECT_EQ(Hear(30).size(), 30U * kRate * 2);
    EXPECT_EQ(resumptions_.at(0).attempts, 1U);
}

// A station that falls back to another programme, with a burst of its own: no position moves.
TEST_F(ReconnectingTest, OtherAudioTakesItsPlaceByTheClock) {
    OnAir();
    const TestPcm other = MakeNoise(99, kRate, 2, 60 * kRate);
    Visit fallback;
    fallback.other = &other;
    station_->plan = {Breaking(12 * kRate), fallback};
    ASSERT_TRUE(file_->Open("url"));
    const auto heard = Hear(20);
    const SourceResumption& resumption = resumptions_.at(0);
    EXPECT_FALSE(resumption.exact);
    const auto on =
        std::search(other.samples.begin(), other.samples.end(), heard.end() - 64, heard.end());
    ASSERT_NE(on, other.samples.end());
    EXPECT_NEAR(static_cast<double>(on - other.samples.begin()) / 2,
                static_cast<double>(first_ + 20 * kRate - 32), kToleranceFrames);
}

TEST_F(ReconnectingTest, AFileThatIsServedAnewAtTheSpeedOfTimeFollowsASilence) {
    OnAir();
    Visit anew;
    anew.fromTheStart = true;
    station_->plan = {Breaking(45 * kRate), Refusal(6000), anew};
    ASSERT_TRUE(file_->Open("url"));
    const auto heard = Hear(60);
    const SourceResumption& gap = resumptions_.at(0);
    EXPECT_NEAR(static_cast<double>(gap.lostFrames), 6.27 * kRate, kToleranceFrames);
    const auto after = heard.begin() + static_cast<ptrdiff_t>((gap.sample + gap.lostFrames) * 2);
    EXPECT_TRUE(std::equal(after, heard.end(), station_->Audio().samples.begin()));
}

TEST_F(ReconnectingTest, AFileThatIsServedAnewAtOnceGoesOnWhereItBroke) {
    OnAir();
    Visit broken, anew;
    broken.atOnce = anew.atOnce = true;
    broken.frames = 50 * kRate;
    station_->plan = {broken, anew};
    ASSERT_TRUE(file_->Open("url"));
    first_ = 0;
    ExpectUnbroken(119);
    EXPECT_TRUE(resumptions_.at(0).exact);
    EXPECT_EQ(resumptions_.at(0).lostFrames, 0U);
}

// What ends and begins anew without anything new is not fetched over and over.
TEST_F(ReconnectingTest, AFileThatIsServedToItsEndIsNotFetchedWithoutPause) {
    const TestPcm file = MakeNoise(5, kRate, 2, 20 * kRate);
    OnAir(file, 30000);
    Visit whole;
    whole.atOnce = true;
    for (int i = 0; i < 1000; ++i) station_->plan.push_back(whole);
    ASSERT_TRUE(file_->Open("url"));
    first_ = 0;
    const ReadOutcome outcome = ReadToEnd(*file_);
    EXPECT_EQ(outcome.last, 0);
    EXPECT_TRUE(outcome.Samples() == Unbroken(20));
    EXPECT_LE(station_->attemptsMs.size(), 30U);
    EXPECT_TRUE(resumptions_.empty());
}

TEST_F(ReconnectingTest, LaterConnectionsAreAskedForTheFirstOnesFormat) {
    OnAir();
    station_->plan = {Breaking(10 * kRate)};
    ASSERT_TRUE(file_->Open("url"));
    Hear(15);
    ASSERT_EQ(station_->formats.size(), 2U);
    EXPECT_EQ(station_->formats[0].sampleRate, 0U);
    EXPECT_EQ(station_->formats[0].channels, 0U);
    EXPECT_EQ(station_->formats[1].sampleRate, kRate);
    EXPECT_EQ(station_->formats[1].channels, 2U);
}

TEST_F(ReconnectingTest, AConnectionOfAnotherFormatCountsAsFailed) {
    OnAir();
    const TestPcm mono = MakeNoise(6, kRate, 1, 40 * kRate);
    Visit other;
    other.other = &mono;
    station_->plan = {Breaking(10 * kRate), other};
    ASSERT_TRUE(file_->Open("url"));
    ExpectUnbroken(15);
    EXPECT_EQ(resumptions_.at(0).attempts, 2U);
}

// The joint lies before the conversion, so that it leaves no trace there either.
TEST_F(ReconnectingTest, AnotherRateIsConvertedAsIfThereHadBeenNoBreak) {
    const TestPcm air = MakeNoise(7, 48000, 2, 40 * 48000);
    std::vector<int16_t> heard[2];
    for (int turn = 0; turn < 2; ++turn) {
        OnAir(air, kReconnectMs);
        if (turn == 1) station_->plan = {Breaking(9 * 48000 + 123), Refusal(500)};
        ASSERT_TRUE(file_->Open("url"));
        const WAVEFORMATEX* format = nullptr;
        ASSERT_EQ(file_->GetFormat(&format), CAudioFile::kFormatOk);
        EXPECT_EQ(format->nSamplesPerSec, kRate);
        heard[turn] = Hear(20);
    }
    EXPECT_TRUE(heard[0] == heard[1]);
    ASSERT_EQ(resumptions_.size(), 1U);
    EXPECT_NEAR(static_cast<double>(resumptions_[0].sample), 9.0 * kRate + 113 - 1882, 2);
}

TEST_F(ReconnectingTest, CancelledInAPauseItGivesUpAtOnce) {
    OnAir();
    station_->plan.push_back(Breaking(10 * kRate));
    for (int i = 0; i < 100; ++i) station_->plan.push_back(Refusal(1));
    ASSERT_TRUE(file_->Open("url"));
    Hear(9);
    station_->onWait = [this] {
        if (station_->attemptsMs.size() == 5) cancellation_->Cancel();
    };
    EXPECT_EQ(ReadToEnd(*file_).last, -1);
    EXPECT_EQ(station_->attemptsMs.size(), 5U);
}

TEST_F(ReconnectingTest, CancelledWhileItListensOrJoinsItGivesUpAtOnce) {
    for (const uint64_t atMs : {11000U, 16500U}) {
        OnAir();
        const auto cancellation = std::make_shared<CFFmpegNetworkCancellation>();
        file_.emplace(station_->Factory(cancellation), cancellation,
                      ReconnectLimits{.reconnectMs = kReconnectMs, .outputRate = kRate}, nullptr,
                      station_->Timing());
        station_->plan = {Breaking(10 * kRate), Refusal(10000)};
        ASSERT_TRUE(file_->Open("url"));
        const uint64_t beganMs = station_->NowMs();
        station_->onWait = [&] {
            if (station_->NowMs() >= beganMs + atMs) cancellation->Cancel();
        };
        EXPECT_EQ(ReadToEnd(*file_).last, -1);
        EXPECT_LE(station_->NowMs(), beganMs + atMs + 10100);
        int32_t frame = 0;
        EXPECT_EQ(file_->Read(&frame, sizeof frame), -1);
    }
}

TEST_F(ReconnectingTest, CancelledBeforehandItDoesNotConnect) {
    OnAir();
    cancellation_->Cancel();
    EXPECT_EQ(file_->Open("url"), 0);
    EXPECT_TRUE(station_->attemptsMs.empty());
}

TEST_F(ReconnectingTest, AClosedFileCanBeOpenedAgain) {
    OnAir();
    ASSERT_TRUE(file_->Open("url"));
    EXPECT_EQ(file_->Open("url"), 0);
    Hear(5);
    EXPECT_EQ(file_->Close(), 1);
    EXPECT_EQ(file_->Close(), 1);
    EXPECT_FALSE(file_->IsOpen());
    ASSERT_TRUE(file_->Open("url"));
    EXPECT_EQ(file_->NextSample(), 0U);
    EXPECT_EQ(Hear(5).size(), 5U * kRate * 2);
    EXPECT_EQ(file_->Seek(0), 0);
}

TEST(ReconnectingAudioFile, WithoutItsPartsItIsRefused) {
    const auto cancellation = std::make_shared<CFFmpegNetworkCancellation>();
    const ConnectionFactory factory = [](const ConnectionFormat&) { return SourceConnection{}; };
    EXPECT_THROW(ReconnectingAudioFile(nullptr, cancellation, {}, nullptr), std::invalid_argument);
    EXPECT_THROW(ReconnectingAudioFile(factory, nullptr, {}, nullptr), std::invalid_argument);
    EXPECT_THROW(ReconnectingAudioFile(factory, cancellation, {.outputRate = 0}, nullptr),
                 std::invalid_argument);
    EXPECT_EQ(ReconnectingAudioFile(factory, cancellation, {}, nullptr).Open("url"), 0);
}

}  // namespace receiver
