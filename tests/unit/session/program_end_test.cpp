// Where a session says that its program ends, and when it says so.
#include "testing/running_session.h"

namespace receiver {

using nlohmann::json;

namespace {

class ProgramEndTest : public SessionTest {
protected:
    // The newest announcement; READY follows the first one.
    json Program() { return session_->Snapshot()["program"]; }

    // A match while the session serves; returns once the session has dealt with it.
    void Hear(const DetectorMatch& match) {
        source_.Match(match);
        ASSERT_TRUE(source_.WaitUntilDrained());
    }
};

constexpr uint64_t kReferenceFrames = ReferenceFiles::kReferenceFrames;

}  // namespace

TEST_F(ProgramEndTest, WithoutBoundsNoEndIsAnnounced) {
    StartAndReachReady(kStart + 1);
    Hear(MatchAt(kEndReference, kStart + 5));
    EXPECT_EQ(events_.Count("PROGRAM_END"), 0u);
    EXPECT_FALSE(session_->Snapshot().contains("program"));
}

TEST_F(ProgramEndTest, TheMaximumIsAnnouncedBeforeReady) {
    AskForProgram(2000, 300);
    StartAndReachReady(kStart + 1);
    EXPECT_EQ(events_.Types(),
              (std::vector<std::string>{"CONNECTED", "DETECTED", "PROGRAM_END", "READY"}));
    EXPECT_EQ(events_.WaitFor("PROGRAM_END")["program"], json({{"startSample", kStart},
                                                               {"endSample", kStart + 88200},
                                                               {"sampleRate", 44100},
                                                               {"fadeFrames", 13230},
                                                               {"reason", "maximum"}}));
}

TEST_F(ProgramEndTest, TheFadeIsNoLongerThanTheProgram) {
    AskForProgram(1000, 5000);
    source_.Match(MatchAt(kStartReference, 0));
    source_.Deliver(1);
    Start();
    ASSERT_FALSE(events_.WaitFor("READY").is_null());
    EXPECT_EQ(Program()["endSample"], 44100);
    EXPECT_EQ(Program()["fadeFrames"], 44100);
}

TEST_F(ProgramEndTest, AnHourNeedsMoreThan32Bits) {
    AskForProgram(3600000, 3600000);
    StartAndReachReady(kStart + 1);
    EXPECT_EQ(Program()["endSample"], kStart + 158760000);
    EXPECT_EQ(Program()["fadeFrames"], 158760000);
}

TEST_F(ProgramEndTest, AnEndReferenceEndsTheProgramWithItsOwnEndAndNoFade) {
    AskForProgram(10000, 5000);
    StartAndReachReady(kStart + 1);
    Hear(MatchAt(kEndReference, kStart + 100));
    EXPECT_EQ(Program()["endSample"], kStart + 100 + kReferenceFrames);
    EXPECT_EQ(Program()["reason"], "outro");
    EXPECT_EQ(Program()["fadeFrames"], 0);
}

TEST_F(ProgramEndTest, AnEndReferenceAtTheStartItselfCounts) {
    AskForProgram(10000, 0);
    StartAndReachReady(kStart + 1);
    Hear(MatchAt(kEndReference, kStart));
    EXPECT_EQ(Program()["endSample"], kStart + kReferenceFrames);
}

TEST_F(ProgramEndTest, AnEndReferenceBeforeTheStartIsIgnored) {
    AskForProgram(10000, 0);
    StartAndReachReady(kStart + 1);
    Hear(MatchAt(kEndReference, kStart - 1));
    EXPECT_EQ(Program()["reason"], "maximum");
    EXPECT_EQ(events_.Count("PROGRAM_END"), 1u);
}

TEST_F(ProgramEndTest, AnEndReferenceHeardBeforeReadyCountsAtOnce) {
    AskForProgram(10000, 0);
    source_.MatchWhileOpening(MatchAt(kEndReference, kStart + 10));
    StartAndReachReady(kStart + 1);
    EXPECT_EQ(events_.Count("PROGRAM_END"), 1u);
    EXPECT_EQ(Program()["reason"], "outro");
}

TEST_F(ProgramEndTest, TheEarliestEndReferenceWins) {
    AskForProgram(10000, 0);
    StartAndReachReady(kStart + 1);
    Hear(MatchAt(kEndReference, kStart + 200));
    Hear(MatchAt(kEndReference, kStart + 100));
    Hear(MatchAt(kEndReference, kStart + 300));
    EXPECT_EQ(Program()["endSample"], kStart + 100 + kReferenceFrames);
    EXPECT_EQ(events_.Count("PROGRAM_END"), 3u);
}

TEST_F(ProgramEndTest, AMatchThatDoesNotMoveTheEndAnnouncesNone) {
    AskForProgram(10000, 0);
    StartAndReachReady(kStart + 1);
    Hear(MatchAt(kEndReference, kStart + 100));
    Hear(MatchAt(kEndReference, kStart + 100));
    EXPECT_EQ(events_.Count("DETECTED"), 3u);
    EXPECT_EQ(events_.Count("PROGRAM_END"), 2u);
}

TEST_F(ProgramEndTest, AnEndReferenceThatEndsWithTheMaximumKeepsTheMaximum) {
    AskForProgram(1000, 100);
    StartAndReachReady(kStart + 1);
    Hear(MatchAt(kEndReference, kStart + 44100 - kReferenceFrames));
    EXPECT_EQ(Program()["reason"], "maximum");
    EXPECT_EQ(Program()["fadeFrames"], 4410);
}

TEST_F(ProgramEndTest, OtherReferencesDoNotEndTheProgram) {
    AskForProgram(10000, 0);
    StartAndReachReady(kStart + 1);
    Hear(MatchAt(kOtherReference, kStart + 100));
    Hear(MatchAt(kStartReference, kStart + 200));
    EXPECT_EQ(Program()["reason"], "maximum");
    EXPECT_EQ(Program()["startSample"], kStart);
}

TEST_F(ProgramEndTest, ASourceThatEndsEndsTheProgramThere) {
    AskForProgram(10000, 0);
    StartAndReachReady(kStart + 300);
    source_.End();
    WaitUntilSourceEnded();
    TakeStream();
    const json program = Finished()["program"];
    EXPECT_EQ(program["reason"], "source_ended");
    EXPECT_EQ(program["endSample"], kStart + 300);
    EXPECT_EQ(client_.Frames(), 300u);
}

TEST_F(ProgramEndTest, ASourceThatFailsInterruptsTheProgram) {
    AskForProgram(10000, 1000);
    StartAndReachReady(kStart + 300);
    source_.Fail();
    WaitUntilSourceEnded();
    TakeStream();
    const json finished = Finished();
    EXPECT_EQ(finished["reason"], "eof");
    EXPECT_EQ(finished["program"]["reason"], "interrupted");
    EXPECT_EQ(finished["program"]["endSample"], kStart + 300);
    EXPECT_EQ(finished["program"]["fadeFrames"], 300);
}

TEST_F(ProgramEndTest, ASourceThatEndsAfterTheMaximumChangesNothing) {
    AskForProgram(1000, 0);
    StartAndReachReady(kStart + 2 * kOneSecond);
    source_.End();
    WaitUntilSourceEnded();
    TakeStream();
    EXPECT_EQ(Finished()["program"]["reason"], "maximum");
    EXPECT_EQ(client_.Frames(), kOneSecond);
}

}  // namespace receiver
