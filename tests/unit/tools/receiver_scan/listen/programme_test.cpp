#include "receiver_scan/listen/programme.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

constexpr uint64_t kSecond = 44100;

// References of 2 s: 0 starts, 1 ends, 2 is another.
std::vector<ScanReference> References() {
    std::vector<ScanReference> references(3);
    references[0].role = ReferenceRole::kStart;
    references[1].role = ReferenceRole::kEnd;
    references[2].role = ReferenceRole::kOther;
    for (ScanReference& reference : references) reference.print.sampleCount = 2 * 22050;
    return references;
}

DetectorMatch Match(size_t reference, uint64_t second) {
    return {reference, second * kSecond, (second + 3) * kSecond, 0.05};
}

HeardAudio Heard(uint64_t seconds, HearingEnd end) {
    HeardAudio heard;
    heard.frames = seconds * kSecond;
    heard.end = end;
    return heard;
}

std::vector<MatchFate> FatesOf(const Judgement& judgement) {
    std::vector<MatchFate> fates;
    for (const JudgedMatch& judged : judgement.matches) fates.push_back(judged.fate);
    return fates;
}

using Fates = std::vector<MatchFate>;
constexpr ProgrammeLimits kTenMinutes{600000, 3000};

}  // namespace

TEST(Programme, FromTheStartToTheEndOfTheEndRecording) {
    const Judgement judgement =
        Judge({Match(1, 5), Match(0, 10), Match(2, 20), Match(0, 30), Match(1, 40), Match(1, 50),
               Match(0, 60)},
              References(), Heard(100, HearingEnd::kSourceEnded), kTenMinutes);
    EXPECT_EQ(FatesOf(judgement), (Fates{MatchFate::kEndBeforeStart, MatchFate::kStartsProgramme,
                                         MatchFate::kReportedOnly, MatchFate::kStartAfterStart,
                                         MatchFate::kEndsProgramme, MatchFate::kAfterProgramme,
                                         MatchFate::kAfterProgramme}));
    ASSERT_TRUE(judgement.programme);
    EXPECT_EQ(judgement.programme->startSample, 10 * kSecond);
    EXPECT_EQ(judgement.programme->endSample, 42 * kSecond);
    EXPECT_EQ(judgement.programme->reason, ProgramEndReason::kOutro);
    EXPECT_EQ(judgement.programme->fadeFrames, 0u);
    EXPECT_FALSE(judgement.programme->goesOn);
}

TEST(Programme, TheMaximumComesBeforeAnEndThatIsTooLate) {
    const Judgement judgement =
        Judge({Match(0, 10), Match(1, 39)}, References(), Heard(100, HearingEnd::kSourceEnded),
              ProgrammeLimits{30000, 3000});
    EXPECT_EQ(FatesOf(judgement), (Fates{MatchFate::kStartsProgramme, MatchFate::kEndTooLate}));
    EXPECT_EQ(judgement.programme->endSample, 40 * kSecond);
    EXPECT_EQ(judgement.programme->reason, ProgramEndReason::kMaximum);
    EXPECT_EQ(judgement.programme->fadeFrames, 3 * kSecond);
}

TEST(Programme, TheSourceEndsOrFailsOrGoesOn) {
    const std::vector<DetectorMatch> matches = {Match(0, 10)};
    const auto judge = [&](HearingEnd end, const std::optional<ProgrammeLimits>& limits) {
        return *Judge(matches, References(), Heard(60, end), limits).programme;
    };
    for (const std::optional<ProgrammeLimits>& limits :
         {std::optional<ProgrammeLimits>(), std::optional(kTenMinutes)}) {
        EXPECT_EQ(judge(HearingEnd::kSourceEnded, limits).reason, ProgramEndReason::kSourceEnded);
        EXPECT_EQ(judge(HearingEnd::kSourceFailed, limits).reason, ProgramEndReason::kInterrupted);
        EXPECT_EQ(judge(HearingEnd::kSourceFailed, limits).endSample, 60 * kSecond);
        EXPECT_FALSE(judge(HearingEnd::kSourceFailed, limits).goesOn);
        EXPECT_TRUE(judge(HearingEnd::kStopped, limits).goesOn);
    }
    EXPECT_FALSE(judge(HearingEnd::kStopped, ProgrammeLimits{50000, 0}).goesOn);
}

TEST(Programme, WithoutAStartThereIsNone) {
    const Judgement judgement = Judge({Match(1, 5), Match(2, 6)}, References(),
                                      Heard(60, HearingEnd::kSourceEnded), kTenMinutes);
    EXPECT_FALSE(judgement.programme);
    EXPECT_EQ(FatesOf(judgement), (Fates{MatchFate::kEndBeforeStart, MatchFate::kReportedOnly}));
}

TEST(Programme, AnOccurrenceThatIsToldTwiceIsNoSecondOne) {
    const Judgement judgement = Judge({Match(0, 10), Match(0, 11), Match(0, 12)}, References(),
                                      Heard(60, HearingEnd::kSourceEnded), std::nullopt);
    EXPECT_EQ(FatesOf(judgement), (Fates{MatchFate::kStartsProgramme, MatchFate::kHeardAgain,
                                         MatchFate::kStartAfterStart}));
}

}  // namespace receiver
