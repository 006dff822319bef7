#include "receiver_record/control/verdict.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "wire/messages.h"

namespace receiver {
namespace {

// The facts of a recording that went well: two seconds, ended by the outro.
RecordingFacts Complete() {
    RecordingFacts facts;
    facts.session.startSample = 44100;
    facts.session.program = Program{44100, 132300, 44100, 0, kEndOutro};
    facts.session.finished = {kReasonEof, ""};
    facts.audio.end = AudioEnd::kComplete;
    facts.audio.framesQueued = 88200;
    facts.isCut = true;
    return facts;
}

// The same, but the audio ended before the programme did.
RecordingFacts TooShort() {
    RecordingFacts facts = Complete();
    facts.isCut = false;
    return facts;
}

// No start was found, and the receiver has told why.
RecordingFacts Ended(const std::string& message) {
    RecordingFacts facts;
    facts.session.finished = {kReasonError, message};
    return facts;
}

struct Case {
    const char* what;
    RecordingFacts facts;
    ExitCode exitCode;
    std::string message;
    bool logHelps = false;
};

using Change = std::function<void(RecordingFacts&)>;

RecordingFacts With(RecordingFacts facts, const Change& change) {
    change(facts);
    return facts;
}

void ExpectAll(const std::vector<Case>& cases) {
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.what);
        const Verdict verdict = Decide(expected.facts);
        EXPECT_EQ(verdict.exitCode, expected.exitCode);
        EXPECT_EQ(verdict.message, expected.message);
        EXPECT_EQ(verdict.logHelps, expected.logHelps);
    }
}

}  // namespace

TEST(Verdict, AProgrammeIsCompleteWhenItEndedByItselfAndAllOfItCame) {
    const auto complete = [](const char* what, const Change& change) {
        return Case{what, With(Complete(), change), ExitCode::kComplete, ""};
    };
    ExpectAll({
        complete("the outro", [](RecordingFacts&) {}),
        complete("the maximum", [](RecordingFacts& f) { f.session.program->reason = kEndMaximum; }),
        complete("no bounds",
                 [](RecordingFacts& f) {
                     f.session.program.reset();
                     f.isCut = false;
                 }),
        complete("the recorder ended the session",
                 [](RecordingFacts& f) {
                     f.session.finished->reason = kReasonCancelled;
                     f.audio.end = AudioEnd::kLost;
                 }),
        complete("FINISHED is lost", [](RecordingFacts& f) { f.session.finished.reset(); }),
        complete("interrupted afterwards", [](RecordingFacts& f) { f.interrupted = true; }),
        complete("the source failed afterwards",
                 [](RecordingFacts& f) { f.session.sourceFailed = true; }),
        complete("the receiver was lost afterwards",
                 [](RecordingFacts& f) { f.receiverFailure = "gone"; }),
    });
}

TEST(Verdict, AProgrammeThatIsNotCompleteNamesTheSource) {
    const auto early = [](const char* what, const Change& change) {
        return Case{what, With(TooShort(), change), ExitCode::kSourceError,
                    "The source ended before the programme did"};
    };
    ExpectAll({
        early("the source ended",
              [](RecordingFacts& f) { f.session.program->reason = kEndSourceEnded; }),
        early("the source was interrupted",
              [](RecordingFacts& f) { f.session.program->reason = kEndInterrupted; }),
        early("the session ended with an error",
              [](RecordingFacts& f) { f.session.finished->reason = kReasonError; }),
        early("only the session's end is known",
              [](RecordingFacts& f) {
                  f.session.program->reason = kEndSourceEnded;
                  f.session.finished.reset();
                  f.session.over = true;
              }),
        early("nothing but the maximum could have ended it",
              [](RecordingFacts& f) {
                  f.session.program->reason = kEndMaximum;
                  f.session.finished.reset();
                  f.session.over = true;
              }),
    });
}

TEST(Verdict, AFailedSourceIsNamed) {
    ExpectAll({
        {"told by an event",
         With(Ended("Audio connection or source ended with an error (pipe=109)"),
              [](RecordingFacts& f) { f.session.sourceFailed = true; }),
         ExitCode::kSourceError, "The source failed"},
        {"told by the audio pipe",
         With(TooShort(), [](RecordingFacts& f) { f.audio.end = AudioEnd::kSourceFailed; }),
         ExitCode::kSourceError, "The source failed"},
        {"it cannot be opened", Ended(kFinishedSourceOpen), ExitCode::kSourceError,
         "The source cannot be opened: there is no such host, or no audio stream"},
    });
}

TEST(Verdict, AnInterruptionOutweighsWhatItLedTo) {
    const auto interrupted = [](const char* what, const RecordingFacts& facts) {
        return Case{what, With(facts, [](RecordingFacts& f) { f.interrupted = true; }),
                    ExitCode::kInterrupted, "Interrupted"};
    };
    ExpectAll({
        interrupted("before the receiver answered", {}),
        interrupted("the session was cancelled",
                    With(Ended(""),
                         [](RecordingFacts& f) { f.session.finished->reason = kReasonCancelled; })),
        interrupted("the start is overdue, too",
                    With({}, [](RecordingFacts& f) { f.startOverdue = true; })),
        interrupted("in the middle",
                    With(TooShort(), [](RecordingFacts& f) { f.audio.framesQueued = 100; })),
    });
    ExpectAll(
        {{"the reader of standard output stood still",
          With(Complete(),
               [](RecordingFacts& f) {
                   f.interrupted = f.outputAbandoned = true;
                   f.audio.end = AudioEnd::kOutputFailed;
                   f.audio.failure = "Stopped";
               }),
          ExitCode::kInterrupted, "Interrupted before standard output had taken everything"}});
    ExpectAll(
        {{"by another program",
          With(Ended(""), [](RecordingFacts& f) { f.session.finished->reason = kReasonCancelled; }),
          ExitCode::kInterrupted, "Another program cancelled the session"}});
}

TEST(Verdict, AStartThatDoesNotComeHasAnExitCodeOfItsOwn) {
    ExpectAll({
        {"the user's patience ended",
         With(Ended(""),
              [](RecordingFacts& f) {
                  f.startOverdue = true;
                  f.session.finished->reason = kReasonCancelled;
              }),
         ExitCode::kStartNotFound, "No start recording was heard in time"},
        {"the source ended", Ended(kFinishedStartNotFound), ExitCode::kStartNotFound,
         "The source ended, and no start recording was heard"},
    });
}

TEST(Verdict, WhatIsWrongWithARecordingToListenForIsAUsageError) {
    ExpectAll({
        {"missing", With({}, [](RecordingFacts& f) { f.missingReference = "a.wav"; }),
         ExitCode::kUsage, "No such file: a.wav"},
        {"too short", Ended(kFinishedReferenceShort), ExitCode::kUsage,
         "A recording to listen for is too short to be recognised"},
        {"cannot be opened", Ended(kFinishedReferenceOpen), ExitCode::kUsage,
         "A recording to listen for cannot be decoded; is it an audio file?"},
        {"cannot be decoded", Ended(kFinishedReferenceDecode), ExitCode::kUsage,
         "A recording to listen for cannot be decoded; is it an audio file?"},
    });
}

TEST(Verdict, AnOutputThatFailsOutweighsEverything) {
    ExpectAll({
        {"it cannot be created", With({}, [](RecordingFacts& f) { f.outputRefusal = "exists"; }),
         ExitCode::kOutputError, "exists"},
        {"it cannot be written",
         With(Complete(),
              [](RecordingFacts& f) {
                  f.audio.end = AudioEnd::kOutputFailed;
                  f.audio.failure = "full";
                  f.interrupted = true;
              }),
         ExitCode::kOutputError, "full"},
        {"it does not get its name",
         With(Complete(), [](RecordingFacts& f) { f.closingFailure = "taken"; }),
         ExitCode::kOutputError, "taken"},
    });
}

TEST(Verdict, OtherwiseTheReceiverFailedAndItsLogMaySayMore) {
    ExpectAll({
        {"it said why", Ended(kFinishedAudioListen), ExitCode::kFailure, kFinishedAudioListen,
         true},
        {"it said too late that the source cannot be opened",
         With(Ended(kFinishedSourceOpen), [](RecordingFacts& f) { f.session.startSample = 1; }),
         ExitCode::kFailure, kFinishedSourceOpen, true},
        {"it cannot be reached", With({}, [](RecordingFacts& f) { f.receiverFailure = "nobody"; }),
         ExitCode::kFailure, "nobody", true},
        {"the audio was lost",
         With({},
              [](RecordingFacts& f) {
                  f.audio.end = AudioEnd::kLost;
                  f.audio.failure = "broken pipe";
              }),
         ExitCode::kFailure, "broken pipe", true},
        {"the connection explains more than the audio",
         With({},
              [](RecordingFacts& f) {
                  f.receiverFailure = "gone";
                  f.audio.failure = "broken pipe";
              }),
         ExitCode::kFailure, "gone", true},
        {"all of the audio came, but not how it ended",
         With(TooShort(), [](RecordingFacts& f) { f.session.finished.reset(); }),
         ExitCode::kFailure, "The receiver was lost before it said how the programme ended", true},
        {"all of the audio came, but perhaps not the message that the outro was heard",
         With(TooShort(),
              [](RecordingFacts& f) {
                  f.session.finished.reset();
                  f.session.over = true;
                  f.session.program->reason = kEndSourceEnded;
                  f.hasEndReference = true;
              }),
         ExitCode::kFailure, "The receiver was lost before it said how the programme ended", true},
        {"the session was cancelled because its audio did not come",
         With(Ended(""),
              [](RecordingFacts& f) {
                  f.session.finished->reason = kReasonCancelled;
                  f.audioLost = true;
                  f.audio.failure = "nobody there";
              }),
         ExitCode::kFailure, "The audio cannot be received: nobody there", true},
        {"nobody said anything",
         {},
         ExitCode::kFailure,
         "The receiver did not say why it stopped",
         true},
    });
}

TEST(Verdict, AReceiverThatRefusesIsWellAndItsLogSaysNothingMore) {
    ExpectAll({{"refused",
                With({},
                     [](RecordingFacts& f) {
                         f.refused = true;
                         f.receiverFailure = "Expected HTTP(S) source";
                     }),
                ExitCode::kFailure, "Expected HTTP(S) source", false}});
}

TEST(Verdict, WhatIsMissingInTheProgrammeIsSaidThoughItCameToItsEnd) {
    const auto lost = [](uint64_t sample, uint64_t frames) {
        return With(Complete(), [&](RecordingFacts& f) {
            Resumption resumption;
            resumption.sample = sample;
            resumption.lostFrames = frames;
            f.session.notes.Add(resumption);
        });
    };
    const auto damaged = [](uint64_t sample) {
        return With(Complete(), [&](RecordingFacts& f) {
            f.session.notes.Add(DamagedEvent{sample, 0, kDamageUndecodable});
        });
    };
    ExpectAll({
        {"nothing was lost", lost(88200, 0), ExitCode::kComplete, ""},
        {"a second was lost", lost(88200, 44100), ExitCode::kGaps, "1.0 s are missing in 1 place"},
        {"before the programme", lost(0, 44100), ExitCode::kComplete, ""},
        {"behind the programme", lost(132300, 44100), ExitCode::kComplete, ""},
        {"damage", damaged(132299), ExitCode::kGaps, "1 place is damaged"},
        {"damage behind the programme", damaged(132300), ExitCode::kComplete, ""},
    });
}

TEST(Verdict, TheTimeThatWasSetEndsARecordingWellAndAWaitingWithoutOne) {
    ExpectAll({
        {"in the programme",
         With(Complete(),
              [](RecordingFacts& f) {
                  f.untilReached = true;
                  f.audio.end = AudioEnd::kLost;
                  f.session.finished->reason = kReasonCancelled;
              }),
         ExitCode::kComplete, ""},
        {"before it", With(Ended(""), [](RecordingFacts& f) { f.untilReached = true; }),
         ExitCode::kStartNotFound, "No start recording was heard in time"},
    });
}

// Whichever of its events came first.
TEST(Verdict, ACauseDecidesTheSameEveryTime) {
    const auto because = [](const char* message, const char* kind) {
        return With(Ended(message), [&](RecordingFacts& f) {
            f.session.cause = Cause{kind, "why", {}, {}};
        });
    };
    for (const char* message : {kFinishedStartNotFound, kFinishedStoppedDetecting,
                                kFinishedStoppedBeforeReady, kFinishedSourceOpen}) {
        ExpectAll({
            {message, because(message, kCauseReset), ExitCode::kSourceError,
             "The connection to the station was broken off"},
            {message,
             With(because(message, kCauseReset),
                  [](RecordingFacts& f) { f.session.sourceFailed = true; }),
             ExitCode::kSourceError, "The connection to the station was broken off"},
            {message, because(message, kCauseEnded), ExitCode::kStartNotFound,
             "The source ended, and no start recording was heard"},
        });
    }
}

}  // namespace receiver
