// What a session tells of its source for who asked to be told.
#include <gtest/gtest.h>

#include "platform/error_codes.h"
#include "unit/session/session_state_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr SourceFailure::Kind kReset = SourceFailure::Kind::kReset;

class SessionNotesTest : public SessionStateTest {
protected:
    void CreateWith(const PreparedAdditions& additions) {
        PreparedProgram program;
        program.sessionId = "s-1";
        program.references = {{"the-start", ReferenceRole::kStart, ""}};
        program.additions = additions;
        state_.emplace(program, "pcm-pipe://audio",
                       [this](json event) { events_.push_back(std::move(event)); });
        state_->SetReferenceLengths({100});
    }
    void CreateAskingForCauses() {
        PreparedAdditions additions;
        additions.reportsCause = true;
        CreateWith(additions);
    }
    static SourceResumption Resumption(uint64_t sample) {
        return {.sample = sample,
                .outageMs = 7200,
                .repeatedFrames = 88,
                .lostFrames = 5,
                .attempts = 3,
                .exact = true,
                .cause = {.kind = kReset, .text = "the connection was reset"}};
    }
};

}  // namespace

TEST_F(SessionNotesTest, AResumptionIsToldAsItIs) {
    CreateWith({.reconnectMs = 1000});
    Connect();
    state_->NoteResumption(Resumption(441));
    EXPECT_EQ(events_.at(1), json({{"type", "RESUMED"},
                                   {"version", 1},
                                   {"sessionId", "s-1"},
                                   {"sequence", 2},
                                   {"sample", 441},
                                   {"outageMs", 7200},
                                   {"repeatedFrames", 88},
                                   {"lostFrames", 5},
                                   {"attempts", 3},
                                   {"exact", true}}));
}

TEST_F(SessionNotesTest, ItsCauseIsToldToWhoAskedForCauses) {
    CreateWith({.reconnectMs = 1000, .reportsCause = true});
    Connect();
    state_->NoteResumption(Resumption(441));
    EXPECT_EQ(events_.at(1)["cause"],
              json({{"kind", "reset"}, {"text", "the connection was reset"}}));
}

TEST_F(SessionNotesTest, GapsAreInTheStatusOnlyWhereASourceIsOpenedAgain) {
    Create();
    EXPECT_FALSE(state_->Status().gaps.has_value());
    CreateWith({.reconnectMs = 1});
    ASSERT_TRUE(state_->Status().gaps.has_value());
    EXPECT_TRUE(state_->Status().gaps->empty());
}

TEST_F(SessionNotesTest, TheNewestGapsAreKept) {
    CreateWith({.reconnectMs = 1});
    Connect();
    for (uint64_t i = 0; i <= SessionStatus::kMaxGapsKept; ++i) {
        state_->NoteResumption(Resumption(i));
    }
    const auto gaps = state_->Status().gaps.value();
    ASSERT_EQ(gaps.size(), SessionStatus::kMaxGapsKept);
    EXPECT_EQ(gaps.front().sample, 1u);
    EXPECT_EQ(gaps.back().sample, SessionStatus::kMaxGapsKept);
}

TEST_F(SessionNotesTest, WhatIsHeardBeforeConnectedIsToldRightAfterItInItsOrder) {
    Create();
    state_->NoteTitle({.sample = 1, .title = "first"});
    state_->NoteMatch(MatchAt(kStartReference, 5));
    state_->NoteDamage({.sample = 9, .frames = 2});
    EXPECT_TRUE(events_.empty());
    Connect();
    EXPECT_EQ(Types(), (Names{"CONNECTED", "TITLE", "DETECTED", "DAMAGED"}));
    state_->NoteTitle({.sample = 10, .title = "second"});
    EXPECT_EQ(Types().size(), 5u);
}

TEST_F(SessionNotesTest, DamageTitlesAndStationsAreToldAsTheyAre) {
    Connect();
    state_->NoteDamage({.kind = SourceDamage::Kind::kDiscontinuity, .sample = 70, .frames = 12});
    state_->NoteDamage({.kind = SourceDamage::Kind::kUndecodable, .sample = 80, .frames = 0});
    state_->NoteTitle({.sample = 90, .title = "Söng"});
    EXPECT_EQ(events_.at(1)["type"], "DAMAGED");
    EXPECT_EQ(events_.at(1)["sample"], 70);
    EXPECT_EQ(events_.at(1)["frames"], 12);
    EXPECT_EQ(events_.at(1)["kind"], "discontinuity");
    EXPECT_EQ(events_.at(2)["kind"], "undecodable");
    EXPECT_EQ(events_.at(3)["type"], "TITLE");
    EXPECT_EQ(events_.at(3)["sample"], 90);
    EXPECT_EQ(events_.at(3)["title"], "Söng");
    state_->NoteStation({.sample = 95, .name = "Radio"});
    EXPECT_EQ(events_.at(4)["type"], "STATION");
    EXPECT_EQ(events_.at(4)["sample"], 95);
    EXPECT_EQ(events_.at(4)["name"], "Radio");
}

TEST_F(SessionNotesTest, NothingIsToldOfAStoppedOrFinishedSession) {
    Connect();
    Finish();
    const size_t told = events_.size();
    state_->NoteResumption(Resumption(1));
    state_->NoteDamage({});
    state_->NoteTitle({});
    state_->NoteStation({});
    EXPECT_EQ(events_.size(), told);
    Create();
    EXPECT_TRUE(state_->RequestStop());
    state_->NoteResumption(Resumption(1));
    state_->NoteTitle({});
    EXPECT_EQ(events_.size(), told);
}

TEST_F(SessionNotesTest, TheNewestFailureIsTheCauseOfASourceError) {
    CreateAskingForCauses();
    ReachReady();
    state_->NoteFailure({.kind = SourceFailure::Kind::kTimeout, .text = "nothing came"});
    state_->NoteFailure({.kind = SourceFailure::Kind::kHttp, .httpStatus = 404, .text = "gone"});
    EXPECT_FALSE(state_->NoteSource(Ended(2000, kSourceFailed)));
    EXPECT_EQ(events_.back()["type"], "SOURCE_ERROR");
    EXPECT_EQ(events_.back()["cause"], json({{"kind", "http"}, {"status", 404}, {"text", "gone"}}));
}

TEST_F(SessionNotesTest, CausesAreToldOnlyToWhoAsked) {
    ReachReady();
    state_->NoteFailure({.kind = kReset, .text = "x"});
    EXPECT_FALSE(state_->NoteSource(Ended(2000, kSourceFailed)));
    EXPECT_FALSE(events_.back().contains("cause"));
    state_->Finish({Reason::kError, "text", SessionCause{}}, Ended(2000, kSourceFailed));
    EXPECT_FALSE(events_.back().contains("cause"));
}

TEST_F(SessionNotesTest, AnErrorsEndCarriesTheCauseThatItsBufferShows) {
    CreateAskingForCauses();
    Connect();
    state_->Finish({Reason::kError, "text"}, Ended(2000, kErrorOutOfMemory));
    EXPECT_EQ(events_.back()["cause"]["kind"], "memory");

    CreateAskingForCauses();
    Connect();
    state_->Finish({Reason::kError, "text"}, Ended(2000));
    EXPECT_EQ(events_.back()["cause"]["kind"], "ended");

    CreateAskingForCauses();
    Connect();
    state_->NoteFailure({.kind = SourceFailure::Kind::kNotAudio, .text = "a web page"});
    state_->Finish({Reason::kError, "text"}, Ended(2000, kSourceFailed));
    EXPECT_EQ(events_.back()["cause"], json({{"kind", "not_audio"}, {"text", "a web page"}}));
}

TEST_F(SessionNotesTest, ACauseThatIsKnownIsNotReplaced) {
    CreateAskingForCauses();
    Connect();
    SessionCause cause;
    cause.kind = SessionCause::Kind::kReference;
    cause.referenceId = "the-start";
    cause.text = "too short";
    state_->Finish({Reason::kError, "text", cause}, Ended(2000, kSourceFailed));
    EXPECT_EQ(events_.back()["cause"],
              json({{"kind", "reference"}, {"referenceId", "the-start"}, {"text", "too short"}}));
}

TEST_F(SessionNotesTest, AnEndThatIsNoErrorHasNoCause) {
    CreateAskingForCauses();
    Connect();
    Finish(Reason::kEof);
    EXPECT_FALSE(events_.back().contains("cause"));
}

TEST_F(SessionNotesTest, TheServedSampleIsToldWhereAPreRollWasAskedFor) {
    CreateWith({.preRollMs = 0});
    Connect();
    ASSERT_TRUE(state_->AnnounceReady(500, 100));
    EXPECT_EQ(events_.back()["servedSample"], 100);
    EXPECT_EQ(events_.back()["sourceSample"], 500);
    EXPECT_EQ(state_->Status().servedSample, 100u);
    Create();
    Connect();
    ASSERT_TRUE(state_->AnnounceReady(500, 100));
    EXPECT_FALSE(events_.back().contains("servedSample"));
}

}  // namespace receiver
