#include "session/program_end.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace receiver {

using enum ProgramEndReason;

void PrintTo(const ProgramEnd& end, std::ostream* out) {
    *out << "from " << end.startSample << " to " << end.endSample << ", fade " << end.fadeFrames
         << ", reason " << static_cast<int>(end.reason);
}

namespace {

constexpr uint64_t kSecond = 44100;
constexpr uint64_t kStart = 1000;
constexpr auto kEndReference = ReferenceRole::kEnd;

struct ProgramEndCase {
    const char* name;
    ProgramBounds bounds;
    std::vector<HeardReference> heard;
    std::optional<ForcedEnd> forced;
    ProgramEnd expected;
};

void PrintTo(const ProgramEndCase& entry, std::ostream* out) {
    *out << entry.name;
}

constexpr ProgramBounds kTenSeconds{.startSample = kStart, .maximumMs = 10000, .fadeMs = 1000};
constexpr ProgramEnd kTenSecondsMaximum{kStart, kStart + 10 * kSecond, kSecond, kMaximum};

const std::vector<ProgramEndCase> kCases = {
    {"TheMaximumCountsFromTheStart",
     {kStart, 2000, 300},
     {},
     {},
     {kStart, kStart + 88200, 13230, kMaximum}},
    {"FramesOfAMillisecondAreRoundedDown", {0, 1001, 301}, {}, {}, {0, 44144, 13274, kMaximum}},
    {"TheFadeIsNoLongerThanTheProgramme", {0, 1000, 5000}, {}, {}, {0, 44100, 44100, kMaximum}},
    {"AnHourNeedsMoreThan32Bits",
     {kStart, 3600000, 3600000},
     {},
     {},
     {kStart, kStart + 158760000, 158760000, kMaximum}},
    {"AStartBeyond32BitsIsKept",
     {1ULL << 40, 1000, 0},
     {},
     {},
     {1ULL << 40, (1ULL << 40) + kSecond, 0, kMaximum}},

    {"AnEndReferenceEndsItWithItsOwnEndAndNoFade",
     kTenSeconds,
     {{kEndReference, kStart + 100, 5000}},
     {},
     {kStart, kStart + 5100, 0, kOutro}},
    {"AnEndReferenceAtTheStartItselfCounts",
     kTenSeconds,
     {{kEndReference, kStart, 5000}},
     {},
     {kStart, kStart + 5000, 0, kOutro}},
    {"AnEndReferenceBeforeTheStartDoesNot",
     kTenSeconds,
     {{kEndReference, kStart - 1, 5000}},
     {},
     kTenSecondsMaximum},
    {"TheEarliestEndReferenceWinsWhereverItStands",
     kTenSeconds,
     {{kEndReference, kStart + 200, 5000},
      {kEndReference, kStart + 100, 5000},
      {kEndReference, kStart + 300, 5000}},
     {},
     {kStart, kStart + 5100, 0, kOutro}},
    {"TheEarliestEndCountsNotTheEarliestBeginning",
     kTenSeconds,
     {{kEndReference, kStart + 100, 9000}, {kEndReference, kStart + 200, 1000}},
     {},
     {kStart, kStart + 1200, 0, kOutro}},
    {"AnEndReferenceThatEndsWithTheMaximumKeepsIt",
     kTenSeconds,
     {{kEndReference, kStart + 10 * kSecond - 5000, 5000}},
     {},
     kTenSecondsMaximum},
    {"AnEndReferenceThatEndsOneFrameEarlierDoesNot",
     kTenSeconds,
     {{kEndReference, kStart + 10 * kSecond - 5001, 5000}},
     {},
     {kStart, kStart + 10 * kSecond - 1, 0, kOutro}},
    {"OtherReferencesDoNotEndIt",
     kTenSeconds,
     {{ReferenceRole::kOther, kStart + 100, 5000}, {ReferenceRole::kStart, kStart + 200, 5000}},
     {},
     kTenSecondsMaximum},

    {"ASourceThatEndsEndsItWithAFade",
     kTenSeconds,
     {},
     ForcedEnd{kStart + 3 * kSecond, kSourceEnded},
     {kStart, kStart + 3 * kSecond, kSecond, kSourceEnded}},
    {"ASourceThatFailsInterruptsIt",
     kTenSeconds,
     {},
     ForcedEnd{kStart + 300, kInterrupted},
     {kStart, kStart + 300, 300, kInterrupted}},
    {"ASourceThatEndsWithTheMaximumKeepsIt",
     kTenSeconds,
     {},
     ForcedEnd{kStart + 10 * kSecond, kSourceEnded},
     kTenSecondsMaximum},
    {"ASourceThatEndsLaterChangesNothing",
     kTenSeconds,
     {},
     ForcedEnd{kStart + 11 * kSecond, kInterrupted},
     kTenSecondsMaximum},
    {"ASourceThatEndsWithinTheEndReferenceWins",
     kTenSeconds,
     {{kEndReference, kStart + 100, 5000}},
     ForcedEnd{kStart + 5099, kInterrupted},
     {kStart, kStart + 5099, 5099, kInterrupted}},
    {"ASourceThatEndsWithTheEndReferenceKeepsIt",
     kTenSeconds,
     {{kEndReference, kStart + 100, 5000}},
     ForcedEnd{kStart + 5100, kInterrupted},
     {kStart, kStart + 5100, 0, kOutro}},
    {"ASourceThatEndsAtTheStartLeavesNothingToFade",
     kTenSeconds,
     {},
     ForcedEnd{kStart, kSourceEnded},
     {kStart, kStart, 0, kSourceEnded}},
    {"ASourceThatEndsBeforeTheStartLeavesNothingToFade",
     kTenSeconds,
     {},
     ForcedEnd{kStart - 1, kSourceEnded},
     {kStart, kStart - 1, 0, kSourceEnded}},
};

class ProgramEndTest : public testing::TestWithParam<ProgramEndCase> {};

}  // namespace

TEST_P(ProgramEndTest, IsAsTheTableSays) {
    const ProgramEndCase& entry = GetParam();
    EXPECT_EQ(ComputeProgramEnd(entry.bounds, entry.heard, entry.forced), entry.expected);
}

INSTANTIATE_TEST_SUITE_P(Table, ProgramEndTest, testing::ValuesIn(kCases),
                         [](const auto& entry) { return std::string(entry.param.name); });

}  // namespace receiver
