// Sessions whose request asks for more: what is held, where the audio begins, and why it failed.
#include "testing/running_session.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {

using nlohmann::json;

namespace {

class SessionAdditionsTest : public SessionTest {
protected:
    static constexpr uint64_t kTenSeconds = 441000;
    static constexpr uint64_t kReach = 2 * 13230 + 32768;  // a start reference, and its detection

    void ExpectStreamFrom(uint64_t firstFrame) {
        ASSERT_GT(client_.Frames(), 0u);
        for (uint64_t i = 0; i < client_.Frames(); ++i) {
            ASSERT_EQ(client_.Pcm()[2 * i], ScriptedSource::Left(firstFrame + i)) << i;
            ASSERT_EQ(client_.Pcm()[2 * i + 1], ScriptedSource::Right(firstFrame + i)) << i;
        }
    }
};

}  // namespace

TEST_F(SessionAdditionsTest, AudioOlderThanTheLookBackIsDroppedWhileNoStartIsHeard) {
    program_.additions.lookBackMs = 2000;
    program_.blockBytes = 4096;
    source_.Deliver(kTenSeconds);
    Start();
    ASSERT_TRUE(source_.WaitUntilDrained());
    const json buffer = session_->Snapshot()["buffer"];
    EXPECT_EQ(buffer["nextSample"], kTenSeconds);
    EXPECT_GE(buffer["firstSample"], kTenSeconds - 2 * kOneSecond - 1024);
    EXPECT_LE(buffer["firstSample"], kTenSeconds - 2 * kOneSecond);
}

TEST_F(SessionAdditionsTest, AShortLookBackStillReachesAStartWithItsPreRoll) {
    program_.additions.lookBackMs = 1000;
    program_.additions.preRollMs = 1000;
    source_.Deliver(kTenSeconds);
    Start();
    ASSERT_TRUE(source_.WaitUntilDrained());
    EXPECT_LE(session_->Snapshot()["buffer"]["firstSample"], kTenSeconds - kReach - kOneSecond);
    EXPECT_GT(session_->Snapshot()["buffer"]["firstSample"], 0);
}

TEST_F(SessionAdditionsTest, FromTheStartOnEverythingIsKept) {
    program_.additions.lookBackMs = 1000;
    const uint64_t start = kTenSeconds - kReach;
    source_.Deliver(kTenSeconds);
    source_.Match(MatchAt(kStartReference, start));
    source_.Deliver(kTenSeconds);
    source_.End();
    Start();
    ASSERT_FALSE(events_.WaitFor("READY").is_null());
    WaitUntilSourceEnded();
    TakeStream();
    ASSERT_FALSE(Finished().is_null());
    EXPECT_EQ(client_.Frames(), 2 * kTenSeconds - start);
    ExpectStreamFrom(start);
}

TEST_F(SessionAdditionsTest, AMatchOfAnotherRoleLetsAudioGo) {
    program_.additions.lookBackMs = 1000;
    source_.Match(MatchAt(kEndReference, 10));
    source_.Deliver(kTenSeconds);
    Start();
    ASSERT_TRUE(source_.WaitUntilDrained());
    EXPECT_GT(session_->Snapshot()["buffer"]["firstSample"], kTenSeconds / 2);
}

TEST_F(SessionAdditionsTest, WithoutALookBackEverythingIsKept) {
    source_.Deliver(kTenSeconds);
    Start();
    ASSERT_TRUE(source_.WaitUntilDrained());
    EXPECT_EQ(session_->Snapshot()["buffer"]["firstSample"], 0);
}

TEST_F(SessionAdditionsTest, ThePipeBeginsThePreRollBeforeTheStart) {
    program_.additions.preRollMs = 500;
    AskForProgram(2000, 1000);
    const uint64_t start = 5 * kOneSecond;
    source_.Deliver(kTenSeconds);
    source_.Match(MatchAt(kStartReference, start));
    source_.End();
    Start();
    const json ready = events_.WaitFor("READY");
    ASSERT_FALSE(ready.is_null());
    EXPECT_EQ(ready["sourceSample"], start);
    EXPECT_EQ(ready["servedSample"], start - 22050);
    EXPECT_EQ(session_->Snapshot()["servedSample"], start - 22050);
    TakeStream();
    EXPECT_EQ(Finished()["program"]["startSample"], start);
    EXPECT_EQ(Finished()["program"]["endSample"], start + 2 * kOneSecond);
    EXPECT_EQ(Finished()["program"]["fadeFrames"], kOneSecond);
    ASSERT_EQ(client_.Frames(), 22050 + 2 * kOneSecond);
    for (uint64_t i = 0; i < 22050 + kOneSecond; ++i) {  // the rest is faded
        ASSERT_EQ(client_.Pcm()[2 * i], ScriptedSource::Left(start - 22050 + i)) << i;
    }
    EXPECT_EQ(client_.Pcm()[client_.Pcm().size() - 1], 0);
}

TEST_F(SessionAdditionsTest, APreRollBeginsNoEarlierThanTheStream) {
    program_.additions.preRollMs = 60000;
    StartAndReachReady(kOneSecond);
    EXPECT_EQ(events_.WaitFor("READY")["servedSample"], 0);
    EXPECT_EQ(events_.WaitFor("READY")["sourceSample"], kStart);
    source_.End();
    TakeStream();
    ExpectStreamFrom(0);
    EXPECT_EQ(client_.Frames(), kOneSecond);
}

TEST_F(SessionAdditionsTest, AProgrammeThatStartsNowBeginsWithTheFirstSample) {
    program_.additions.startNow = true;
    program_.references.clear();
    AskForProgram(1000, 0);
    source_.Deliver(kTenSeconds);
    Start();
    ASSERT_FALSE(events_.WaitFor("READY").is_null());
    TakeStream();
    ASSERT_FALSE(Finished().is_null());
    EXPECT_EQ(events_.Types(),
              (std::vector<std::string>{"CONNECTED", "PROGRAM_END", "READY", "FINISHED"}));
    EXPECT_EQ(Finished()["reason"], "eof");
    EXPECT_EQ(Finished()["sourceSample"], 0);
    EXPECT_EQ(client_.Frames(), kOneSecond);
    ExpectStreamFrom(0);
}

TEST_F(SessionAdditionsTest, AnEndReferenceEndsAProgrammeThatStartedNow) {
    program_.additions.startNow = true;
    AskForProgram(10000, 0);
    // Known before the reader comes there: at the live edge it would get what has passed.
    source_.Match(MatchAt(kEndReference, 3 * kOneSecond));
    source_.Deliver(kTenSeconds);
    Start();
    ASSERT_FALSE(events_.WaitFor("READY").is_null());
    TakeStream();
    EXPECT_EQ(Finished()["program"]["reason"], "outro");
    EXPECT_EQ(client_.Frames(), 3 * kOneSecond + ReferenceFiles::kReferenceFrames);
}

TEST_F(SessionAdditionsTest, AStartThatFindsNoAudioIsAnError) {
    program_.additions.startNow = true;
    program_.additions.reportsCause = true;
    source_.End();
    Start();
    EXPECT_EQ(Finished()["message"], "Detected PCM is unavailable");
    EXPECT_EQ(Finished()["cause"]["kind"], "ended");
}

TEST_F(SessionAdditionsTest, SnapshotsNameTheAdditionsThatWereAskedFor) {
    Create();
    EXPECT_FALSE(session_->Snapshot().contains("additions"));
    EXPECT_FALSE(session_->Snapshot().contains("gaps"));
    session_.reset();
    program_.additions.keys = {"lookBackMs", "http"};
    program_.additions.reconnectMs = 1;
    Create();
    EXPECT_EQ(session_->Snapshot()["additions"], json({"lookBackMs", "http"}));
    EXPECT_EQ(session_->Snapshot()["gaps"], json::array());
}

TEST_F(SessionAdditionsTest, WhatTheSourceTellsIsToldInItsPlace) {
    program_.additions.reportsTitles = true;
    program_.additions.reportsDamage = true;
    program_.additions.reconnectMs = 1000;
    source_.NoteWhileOpening([](const SourceNotes& notes) { notes.onTitle({0, "early"}); });
    source_.Deliver(100);
    source_.Note([](const SourceNotes& notes) { notes.onResumed({.sample = 100}); });
    source_.Note([](const SourceNotes& notes) { notes.onDamage({.sample = 100}); });
    source_.End();
    Start();
    ASSERT_FALSE(Finished().is_null());
    EXPECT_EQ(events_.Types(),
              (std::vector<std::string>{"CONNECTED", "TITLE", "RESUMED", "DAMAGED", "FINISHED"}));
    EXPECT_EQ(Finished()["gaps"].size(), 1u);
}

TEST_F(SessionAdditionsTest, WhatNobodyAskedForHasNoListener) {
    bool listens = true;
    source_.Note([&](const SourceNotes& notes) {
        listens = notes.onTitle || notes.onDamage || notes.onFailure;
    });
    source_.End();
    Start();
    ASSERT_FALSE(Finished().is_null());
    EXPECT_FALSE(listens);
}

TEST_F(SessionAdditionsTest, ASourceThatDoesNotOpenTellsWhy) {
    program_.additions.reportsCause = true;
    source_.NoteWhileOpening([](const SourceNotes& notes) {
        notes.onFailure({.kind = SourceFailure::Kind::kRefused, .text = "nobody listens there"});
    });
    source_.RefuseOpen();
    Start();
    EXPECT_EQ(Finished()["message"], "Network source Open failed");
    EXPECT_EQ(Finished()["cause"], json({{"kind", "refused"}, {"text", "nobody listens there"}}));
}

TEST_F(SessionAdditionsTest, AnUnfitReferenceIsNamed) {
    program_.additions.reportsCause = true;
    const TempFolder folder;
    program_.references[1].path = folder.File("text.wav");
    WriteFileBytes(program_.references[1].path, "this is no recording");
    Start();
    EXPECT_EQ(Finished()["message"], "Reference Open failed");
    EXPECT_EQ(Finished()["cause"], json({{"kind", "reference"},
                                         {"referenceId", "the-end"},
                                         {"text", "the file cannot be opened as audio"}}));
}

TEST_F(SessionAdditionsTest, AReaderThatGoesAwayIsTheCause) {
    program_.additions.reportsCause = true;
    StartAndReachReady(kTenSeconds);
    ASSERT_TRUE(client_.Connect(audioUri_));
    ASSERT_TRUE(client_.ReadHeader());
    client_.Close();
    EXPECT_EQ(Finished()["reason"], "error");
    EXPECT_EQ(Finished()["cause"]["kind"], "audio_pipe");
}

}  // namespace receiver
