#include "receiver_record/stream_notes.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

Resumption Gap(uint64_t sample, uint64_t lostFrames) {
    Resumption gap;
    gap.sample = sample;
    gap.lostFrames = lostFrames;
    return gap;
}

}  // namespace

TEST(StreamNotes, OfAProgrammeOnlyWhatLiesInItCounts) {
    StreamNotes notes;
    for (const uint64_t sample : {0, 99, 100, 199, 200}) {
        notes.Add(Gap(sample, 0));
        notes.Add(DamagedEvent{sample, 0, "undecodable"});
    }
    const StreamNotes within = notes.Within(100, 200);
    ASSERT_EQ(within.Resumptions().size(), 2u);
    ASSERT_EQ(within.Damages().size(), 2u);
    EXPECT_EQ(within.Damages()[0].sample, 100u);
    EXPECT_EQ(within.Damages()[1].sample, 199u);
}

TEST(StreamNotes, OfAGapAtTheEdgeThePartInsideCounts) {
    StreamNotes notes;
    notes.Add(Gap(50, 60));
    notes.Add(Gap(190, 100));
    const StreamNotes within = notes.Within(100, 200);
    ASSERT_EQ(within.Resumptions().size(), 2u);
    EXPECT_EQ(within.Resumptions()[0].lostFrames, 10u);
    EXPECT_EQ(within.Resumptions()[1].lostFrames, 10u);
}

TEST(StreamNotes, TheTitleThatHoldsAtTheBeginningBelongsToTheProgramme) {
    StreamNotes notes;
    for (const auto& [sample, title] :
         {std::pair{uint64_t{10}, "a"}, {50, "b"}, {150, "c"}, {250, "d"}}) {
        notes.Add(TitleEvent{sample, title});
    }
    const StreamNotes within = notes.Within(100, 200);
    ASSERT_EQ(within.Titles().size(), 2u);
    EXPECT_EQ(within.Titles()[0].title, "b");
    EXPECT_EQ(within.Titles()[1].title, "c");
    EXPECT_EQ(notes.TitleAt(49), "a");
    EXPECT_EQ(notes.TitleAt(5), "");
}

TEST(StreamNotes, TheTotalsAreOfAllThatWasNoted) {
    StreamNotes notes;
    for (size_t i = 0; i < StreamNotes::kMaxKept + 1; ++i) {
        notes.Add(Resumption{.sample = i, .outageMs = 2, .lostFrames = i % 2});
        notes.Add(DamagedEvent{i, 0, "undecodable"});
    }
    EXPECT_EQ(notes.Totals().reconnections, StreamNotes::kMaxKept + 1);
    EXPECT_EQ(notes.Totals().outageMs, 2 * (StreamNotes::kMaxKept + 1));
    EXPECT_EQ(notes.Totals().gaps, StreamNotes::kMaxKept / 2);
    EXPECT_EQ(notes.Totals().lostFrames, StreamNotes::kMaxKept / 2);
    EXPECT_EQ(notes.Totals().damages, StreamNotes::kMaxKept + 1);
}

TEST(StreamNotes, TheNewestNameIsTheStations) {
    StreamNotes notes;
    EXPECT_EQ(notes.Station(), "");
    notes.Add(StationEvent{0, "Radio"});
    notes.Add(StationEvent{500, "Radio Two"});
    EXPECT_EQ(notes.Station(), "Radio Two");
    EXPECT_EQ(notes.Within(100, 200).Station(), "Radio Two");
}

TEST(StreamNotes, OnlyTheNewestAreKept) {
    StreamNotes notes;
    for (uint64_t i = 0; i < 2 * StreamNotes::kMaxKept; ++i) {
        notes.Add(Gap(i, 1));
        notes.Add(TitleEvent{i, "t"});
        notes.Add(DamagedEvent{i, 1, "undecodable"});
    }
    EXPECT_EQ(notes.Resumptions().size(), StreamNotes::kMaxKept);
    EXPECT_EQ(notes.Titles().size(), StreamNotes::kMaxKept);
    EXPECT_EQ(notes.Damages().size(), StreamNotes::kMaxKept);
    EXPECT_EQ(notes.Titles().back().sample, 2 * StreamNotes::kMaxKept - 1);
}

TEST(StreamNotes, LossesAreSaidInWords) {
    StreamNotes notes;
    notes.Add(Gap(10, 0));
    EXPECT_EQ(DescribeLosses(notes), "");
    notes.Add(Gap(100000, 44100));
    EXPECT_EQ(DescribeLosses(notes), "1.0 s are missing in 1 place");
    notes.Add(Gap(300000, 92610));
    notes.Add(DamagedEvent{5, 0, "undecodable"});
    EXPECT_EQ(DescribeLosses(notes), "3.1 s are missing in 2 places, and 1 place is damaged");
}

}  // namespace receiver
