#include "receiver_record/control/verdict.h"

#include <algorithm>

#include "receiver_record/control/cause_texts.h"
#include "wire/messages.h"

namespace receiver {
namespace {

Verdict DecideByFinish(const RecordingFacts& facts) {
    const SessionRecord& session = facts.session;
    const std::string& message = session.finished->message;
    if (session.finished->reason == kReasonCancelled) {
        return {ExitCode::kInterrupted, "Another program cancelled the session"};
    }
    if (session.cause && !session.startSample) {
        return DecideByCause(*session.cause, facts.references);
    }
    if (!session.startSample && message == kFinishedSourceOpen) {
        return {ExitCode::kSourceError,
                "The source cannot be opened: there is no such host, or no audio stream"};
    }
    if (!session.startSample && message == kFinishedStartNotFound) {
        return {ExitCode::kStartNotFound, "The source ended, and no start recording was heard"};
    }
    if (message == kFinishedReferenceShort) {
        return {ExitCode::kUsage, "A recording to listen for is too short to be recognised"};
    }
    if (message == kFinishedReferenceOpen || message == kFinishedReferenceDecode) {
        return {ExitCode::kUsage,
                "A recording to listen for cannot be decoded; is it an audio file?"};
    }
    return {ExitCode::kFailure, message};
}

// Without an end recording only the source can have ended it; with one, the message that it was
// heard may be lost.
bool MayHaveMissedTheEnd(const RecordingFacts& facts) {
    const std::optional<Program>& program = facts.session.program;
    return facts.hasEndReference && (!program || program->reason != kEndOutro);
}

Verdict DecideBySession(const RecordingFacts& facts) {
    const SessionRecord& session = facts.session;
    const bool audioIsComplete = facts.audio.end == AudioEnd::kComplete;
    if (session.sourceFailed || facts.audio.end == AudioEnd::kSourceFailed) {
        return {ExitCode::kSourceError,
                session.cause ? SourceFailureText(*session.cause) : "The source failed"};
    }
    if (audioIsComplete && !session.finished && (!session.over || MayHaveMissedTheEnd(facts))) {
        return {ExitCode::kFailure, "The receiver was lost before it said how the programme ended"};
    }
    if (audioIsComplete) {
        return {ExitCode::kSourceError, "The source ended before the programme did"};
    }
    if (facts.audioLost) {
        return {ExitCode::kFailure, "The audio cannot be received: " + facts.audio.failure};
    }
    Verdict verdict;
    if (session.finished) verdict = DecideByFinish(facts);
    if (verdict.message.empty()) verdict.message = facts.receiverFailure;
    if (verdict.message.empty()) verdict.message = facts.audio.failure;
    if (verdict.message.empty()) verdict.message = "The receiver did not say why it stopped";
    return verdict;
}

Verdict DecideComplete(const RecordingFacts& facts) {
    const std::string losses = DescribeLosses(ProgramNotes(facts));
    if (losses.empty()) return {ExitCode::kComplete, ""};
    return {ExitCode::kGaps, losses};
}

Verdict DecideOutcome(const RecordingFacts& facts) {
    if (!facts.missingReference.empty()) {
        return {ExitCode::kUsage, "No such file: " + facts.missingReference};
    }
    if (facts.outputAbandoned && facts.interrupted) {
        return {ExitCode::kInterrupted, "Interrupted before standard output had taken everything"};
    }
    for (const std::string& failure : {facts.outputRefusal, facts.closingFailure}) {
        if (!failure.empty()) return {ExitCode::kOutputError, failure};
    }
    if (facts.audio.end == AudioEnd::kOutputFailed) {
        return {ExitCode::kOutputError, facts.audio.failure};
    }
    if (IsComplete(facts)) return DecideComplete(facts);
    if (facts.interrupted) return {ExitCode::kInterrupted, "Interrupted"};
    if (facts.untilReached && facts.session.startSample && facts.audio.framesQueued > 0) {
        return DecideComplete(facts);
    }
    if (facts.startOverdue || (facts.untilReached && !facts.session.startSample)) {
        return {ExitCode::kStartNotFound, "No start recording was heard in time"};
    }
    return DecideBySession(facts);
}

}  // namespace

StreamNotes ProgramNotes(const RecordingFacts& facts) {
    const SessionRecord& session = facts.session;
    if (!session.startSample) return {};
    const uint64_t frames = facts.audio.framesQueued;
    const uint64_t all = ProgramFrames(session).value_or(frames);
    return session.notes.Within(*session.startSample, *session.startSample + std::min(frames, all));
}

bool IsComplete(const RecordingFacts& facts) {
    const SessionRecord& session = facts.session;
    if (facts.isCut) return true;
    if (facts.audio.end != AudioEnd::kComplete) return false;
    if (session.finished && session.finished->reason != kReasonEof) return false;
    return !session.program;
}

Verdict Decide(const RecordingFacts& facts) {
    Verdict verdict = DecideOutcome(facts);
    verdict.logHelps = verdict.exitCode == ExitCode::kFailure && !facts.refused;
    return verdict;
}

}  // namespace receiver
