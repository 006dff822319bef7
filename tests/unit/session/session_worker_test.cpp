#include "session/session_worker.h"

#include "testing/audio_generator.h"
#include "testing/http_station.h"
#include "testing/running_session.h"
#include "testing/wav_file.h"

namespace receiver {

using nlohmann::json;

namespace {

class SessionWorkerTest : public SessionTest {
protected:
    void ExpectFinished(const std::string& reason, const std::string& message) {
        const json finished = Finished();
        ASSERT_FALSE(finished.is_null());
        EXPECT_EQ(finished["reason"], reason);
        EXPECT_EQ(finished["message"], message);
        EXPECT_EQ(finished["canDrain"], false);
        EXPECT_FALSE(finished.contains("uri"));
        EXPECT_EQ(events_.Count("FINISHED"), 1u);
    }

    void ExpectStreamFrom(uint64_t firstFrame, uint64_t frames) {
        ASSERT_EQ(client_.Frames(), frames);
        for (uint64_t i = 0; i < frames; ++i) {
            ASSERT_EQ(client_.Pcm()[2 * i], ScriptedSource::Left(firstFrame + i)) << i;
            ASSERT_EQ(client_.Pcm()[2 * i + 1], ScriptedSource::Right(firstFrame + i)) << i;
        }
    }
};

}  // namespace

TEST_F(SessionWorkerTest, AReferenceThatIsNoAudioEndsTheSessionWithItsText) {
    const TempFolder folder;
    program_.references[1].path = folder.File("text.wav");
    WriteFileBytes(program_.references[1].path, "this is no recording");
    Start();
    ExpectFinished("error", "Reference Open failed");
    EXPECT_EQ(events_.Types(), std::vector<std::string>{"FINISHED"});
    EXPECT_FALSE(Finished().contains("buffer"));
}

TEST_F(SessionWorkerTest, AStopBeforeTheSourceIsOpenedIsNoticed) {
    session_ = std::make_unique<ReceiverSession>(
        program_, audioUri_, events_.Sink(),
        [&](std::vector<ReferenceFingerprint>&& references, auto onMatch, SourceNotes notes) {
            session_->RequestStop();
            return source_.Factory()(std::move(references), onMatch, std::move(notes));
        });
    Start();
    ExpectFinished("cancelled", "Cancelled before source Open");
    EXPECT_EQ(events_.Types(), std::vector<std::string>{"FINISHED"});
}

TEST_F(SessionWorkerTest, TheReferencesAreLoadedInTheRequestsOrder) {
    std::vector<uint64_t> lengths;
    const TempFolder folder;
    program_.references[1].path = folder.File("longer.wav");
    WriteWavFile(program_.references[1].path, MakeNoise(9, 22050, 1, 20000));
    session_ = std::make_unique<ReceiverSession>(
        program_, audioUri_, events_.Sink(),
        [&](std::vector<ReferenceFingerprint>&& references, auto onMatch, SourceNotes notes) {
            for (const auto& reference : references) lengths.push_back(reference.sampleCount);
            return source_.Factory()(std::move(references), onMatch, std::move(notes));
        });
    source_.End();
    Start();
    ASSERT_FALSE(Finished().is_null());
    EXPECT_EQ(lengths, (std::vector<uint64_t>{13230, 20000, 13230}));
}

TEST_F(SessionWorkerTest, ASourceThatDoesNotOpenEndsTheSession) {
    source_.RefuseOpen();
    Start();
    ExpectFinished("error", "Network source Open failed");
    EXPECT_EQ(events_.Types(), std::vector<std::string>{"FINISHED"});
}

TEST_F(SessionWorkerTest, AStopEndsAnOpenThatBlocks) {
    source_.HoldOpen();
    Start();
    ASSERT_TRUE(source_.WaitUntilOpening());
    session_->RequestStop();
    ExpectFinished("cancelled", "Network source Open failed");
}

TEST_F(SessionWorkerTest, AnOpenSourceIsAnnouncedWithTheStateScanning) {
    source_.HoldOpen();
    Start();
    ASSERT_TRUE(source_.WaitUntilOpening());
    EXPECT_EQ(State(), "PREPARING");
    source_.LetOpen();
    EXPECT_EQ(
        events_.WaitFor("CONNECTED"),
        json({{"type", "CONNECTED"}, {"version", 1}, {"sessionId", "session-1"}, {"sequence", 1}}));
    EXPECT_EQ(State(), "SCANNING");
}

TEST_F(SessionWorkerTest, AStreamThatEndsBeforeAStartMatchIsAnError) {
    source_.Deliver(1000);
    source_.End();
    Start();
    ExpectFinished("error", "Start reference not found before source ended or failed");
    EXPECT_EQ(Finished()["buffer"]["receivedBytes"], 4000);
}

TEST_F(SessionWorkerTest, AStartMatchReportedWithTheStreamsLastAudioIsFound) {
    source_.Deliver(kStart + 100);
    source_.Match(MatchAt(kStartReference, kStart));
    source_.End();
    Start();
    EXPECT_EQ(events_.WaitFor("READY")["sourceSample"], kStart);
}

TEST_F(SessionWorkerTest, OnlyEndAndOtherMatchesDoNotEndTheWait) {
    source_.Deliver(1000);
    source_.Match(MatchAt(kEndReference, 10));
    source_.Match(MatchAt(kOtherReference, 20));
    source_.End();
    Start();
    ExpectFinished("error", "Start reference not found before source ended or failed");
    EXPECT_EQ(Finished()["matches"].size(), 2u);
    EXPECT_EQ(events_.Count("DETECTED"), 2u);
}

TEST_F(SessionWorkerTest, TheFirstStartMatchInOrderOfArrivalDecides) {
    source_.MatchWhileOpening(MatchAt(kStartReference, 50));
    source_.MatchWhileOpening(MatchAt(kStartReference, 40));
    source_.Deliver(100);
    Start();
    EXPECT_EQ(events_.WaitFor("READY")["sourceSample"], 50);
}

TEST_F(SessionWorkerTest, AStopDuringDetectionEndsTheWait) {
    Start();
    ASSERT_FALSE(events_.WaitFor("CONNECTED").is_null());
    session_->RequestStop();
    const json finished = Finished();
    EXPECT_EQ(finished["reason"], "cancelled");
    EXPECT_EQ(finished["message"], "Session stopped during detection");
    EXPECT_EQ(finished["sequence"], 2);
}

TEST_F(SessionWorkerTest, AStartSampleThatNeverArrivesIsAnError) {
    source_.Match(MatchAt(kStartReference, kStart));
    source_.Deliver(kStart);  // the sample itself is missing
    source_.End();
    Start();
    ExpectFinished("error", "Detected PCM is unavailable");
}

TEST_F(SessionWorkerTest, AnAudioPipeThatCannotBeMadeIsAnError) {
    session_ = std::make_unique<ReceiverSession>(program_, "pcm-pipe://no/such/name",
                                                 events_.Sink(), source_.Factory());
    source_.Match(MatchAt(kStartReference, 0));
    source_.Deliver(100);
    Start();
    ExpectFinished("error", "Audio endpoint Listen failed");
}

TEST_F(SessionWorkerTest, ReadyTellsWhereTheAudioIsServed) {
    StartAndReachReady(kStart + 1);
    EXPECT_EQ(events_.WaitFor("READY"), json({{"type", "READY"},
                                              {"version", 1},
                                              {"sessionId", "session-1"},
                                              {"sequence", 3},
                                              {"uri", audioUri_},
                                              {"sourceSample", kStart}}));
    const json snapshot = session_->Snapshot();
    EXPECT_EQ(snapshot["state"], "READY");
    EXPECT_EQ(snapshot["uri"], audioUri_);
    EXPECT_EQ(snapshot["sourceSample"], kStart);
    EXPECT_EQ(snapshot["buffer"]["readSample"], kStart);
}

TEST_F(SessionWorkerTest, WithoutAProgramTheStreamIsServedToItsEnd) {
    StartAndReachReady(kStart + 3000);
    source_.End();
    TakeStream();
    ExpectStreamFrom(kStart, 3000);
    ExpectFinished("eof", "");
    EXPECT_EQ(client_.LargestChunkBytes(), 441u * 4);
    EXPECT_EQ(client_.StreamHeader().lengthFrames, UINT64_MAX);
}

TEST_F(SessionWorkerTest, WithoutAProgramASourceThatFailsIsAnError) {
    StartAndReachReady(kStart + 3000);
    source_.Fail();
    TakeStream();
    EXPECT_EQ(client_.LastRecord().type, 3u);
    EXPECT_EQ(Finished()["reason"], "error");
}

TEST_F(SessionWorkerTest, WithoutAProgramAClientThatGoesAwayIsAnError) {
    StartAndReachReady(kStart + 3000);
    ASSERT_TRUE(client_.Connect(audioUri_));
    ASSERT_TRUE(client_.ReadHeader());
    client_.Close();
    source_.Deliver(10 * kOneSecond);  // more than a pipe holds
    const json finished = Finished();
    EXPECT_EQ(finished["reason"], "error");
    const std::string message = finished["message"];
    EXPECT_EQ(message.rfind("Audio connection or source ended with an error (pipe=", 0), 0u)
        << message;
}

TEST_F(SessionWorkerTest, WithAProgramTheEndIsCleanWhileTheSourceStillRuns) {
    AskForProgram(1000, 0);
    StartAndReachReady(kStart + 2 * kOneSecond);
    TakeStream();
    ExpectStreamFrom(kStart, kOneSecond);
    ExpectFinished("eof", "");
    EXPECT_EQ(Finished()["buffer"]["finished"], false);
}

TEST_F(SessionWorkerTest, TheProgrammesEndIsAnnouncedBeforeReady) {
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

TEST_F(SessionWorkerTest, AnEndReferencesLengthCountsInFramesOfTheStream) {
    AskForProgram(10000, 5000);
    StartAndReachReady(kStart + 1);
    source_.Match(MatchAt(kEndReference, kStart + 100));
    ASSERT_TRUE(source_.WaitUntilDrained());
    const json program = session_->Snapshot()["program"];
    EXPECT_EQ(program["endSample"], kStart + 100 + ReferenceFiles::kReferenceFrames);
    EXPECT_EQ(program["reason"], "outro");
    EXPECT_EQ(program["fadeFrames"], 0);
}

TEST_F(SessionWorkerTest, AnEndReferenceHeardWhileServingEndsTheStream) {
    AskForProgram(10000, 0);
    StartAndReachReady(kStart + 2 * kOneSecond);
    source_.Match(MatchAt(kEndReference, kStart + 100));
    ASSERT_TRUE(source_.WaitUntilDrained());
    TakeStream();
    ExpectStreamFrom(kStart, 100 + ReferenceFiles::kReferenceFrames);
    ExpectFinished("eof", "");
}

TEST_F(SessionWorkerTest, ASourceThatEndsEndsTheProgrammeThere) {
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

TEST_F(SessionWorkerTest, ASourceThatFailsInterruptsTheProgramme) {
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

TEST_F(SessionWorkerTest, ASourceThatEndsAfterTheMaximumChangesNothing) {
    AskForProgram(1000, 0);
    StartAndReachReady(kStart + 2 * kOneSecond);
    source_.End();
    WaitUntilSourceEnded();
    TakeStream();
    EXPECT_EQ(Finished()["program"]["reason"], "maximum");
    EXPECT_EQ(client_.Frames(), kOneSecond);
}

TEST_F(SessionWorkerTest, WhatHasBeenReadIsReleased) {
    AskForProgram(1000, 0);
    StartAndReachReady(kStart + 2 * kOneSecond);
    TakeStream();
    const json buffer = Finished()["buffer"];
    EXPECT_GT(buffer["firstSample"], kStart);
    EXPECT_LE(buffer["firstSample"], buffer["readSample"]);
}

TEST_F(SessionWorkerTest, AStopWhileReadyEndsTheWaitForAClient) {
    StartAndReachReady(kStart + 1);
    session_->RequestStop();
    ExpectFinished("cancelled", "Audio connection or source ended with an error (pipe=995)");
}

TEST_F(SessionWorkerTest, AStopWhileServingEndsTheStream) {
    StartAndReachReady(kStart + 1);
    ASSERT_TRUE(client_.Connect(audioUri_));
    ASSERT_TRUE(client_.ReadHeader());
    session_->RequestStop();
    EXPECT_EQ(Finished()["reason"], "cancelled");
    EXPECT_FALSE(client_.ReadToEnd());  // it breaks off without an end record
}

TEST_F(SessionWorkerTest, AnExceptionOfAnotherKindIsNamed) {
    session_ =
        std::make_unique<ReceiverSession>(program_, audioUri_, events_.Sink(),
                                          [](std::vector<ReferenceFingerprint>&&, const auto&,
                                             const SourceNotes&) -> SessionSource { throw 1; });
    Start();
    ExpectFinished("error", "MFC exception in receiver session");
}

TEST_F(SessionWorkerTest, ATextThatIsNotUtf8IsMadeSound) {
    session_ = std::make_unique<ReceiverSession>(
        program_, audioUri_, events_.Sink(),
        [](std::vector<ReferenceFingerprint>&&, const auto&, const SourceNotes&) -> SessionSource {
            throw std::runtime_error("bad \xFF byte");
        });
    Start();
    ExpectFinished("error", "bad \xEF\xBF\xBD byte");
}

TEST_F(SessionWorkerTest, ASessionWithoutAFactoryHearsItsStation) {
    const auto music = [](uint64_t seed, uint32_t ms) {
        return MakeMusic(seed, 22050, 1, FramesOf(22050, ms));
    };
    const TestPcm before = music(1, 300);
    const TestPcm jingle = music(2, 650);
    const TempFolder folder;
    WriteWavFile(folder.File("start.wav"), jingle);
    program_.references = {{"start", ReferenceRole::kStart, folder.File("start.wav")}};
    HttpStation station;
    StationRoute route;
    route.body = WavBytes(Concatenate({before, jingle, music(3, 600)}));
    station.Serve("/radio", route);
    program_.url = station.Url("/radio");
    session_ = std::make_unique<ReceiverSession>(program_, audioUri_, events_.Sink());
    Start();

    const json ready = events_.WaitFor("READY");
    ASSERT_FALSE(ready.is_null());
    EXPECT_NEAR(ready["sourceSample"].get<double>(), 2.0 * static_cast<double>(before.Frames()),
                552.0);  // a step of the analysis
    TakeStream();
    EXPECT_EQ(client_.StreamHeader().sampleRate, 44100u);
    EXPECT_EQ(client_.StreamHeader().bitsPerSample, 16u);
    ExpectFinished("eof", "");
}

TEST_F(SessionWorkerTest, ASessionWithoutAFactoryListensToTheNetwork) {
    program_.url = "http://127.0.0.1:1/nobody-listens-there";
    program_.ioTimeoutMs = 60000;
    session_ = std::make_unique<ReceiverSession>(program_, audioUri_, events_.Sink());
    Start();
    ExpectFinished("error", "Network source Open failed");
}

}  // namespace receiver
