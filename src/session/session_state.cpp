#include "session/session_state.h"

#include <new>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform/error_codes.h"
#include "session/session_events.h"
#include "wire/messages.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr uint32_t kSourceErrorWaitMs = 20;

}  // namespace

SessionState::SessionState(PreparedProgram program, std::string audioUri, EventSink postEvent)
    : program_(std::move(program)),
      audioUri_(std::move(audioUri)),
      postEvent_(std::move(postEvent)) {
    status_.sessionId = program_.sessionId;
    status_.additions = program_.additions.keys;
    if (program_.additions.reconnectMs != 0) status_.gaps.emplace();
}

SessionStatus SessionState::Status() const {
    MutexLock lock(mutex_);
    return status_;
}

SessionState::Standing SessionState::GetStanding() const {
    MutexLock lock(mutex_);
    Standing standing{status_.state, std::nullopt};
    if (status_.outcome) standing.reason = status_.outcome->reason;
    return standing;
}

bool SessionState::IsFinished() const {
    MutexLock lock(mutex_);
    return status_.state == State::kFinished;
}

bool SessionState::IsStopRequested() const {
    MutexLock lock(mutex_);
    return status_.state == State::kCancelling;
}

bool SessionState::IsStoppedOrFailing() const {
    MutexLock lock(mutex_);
    return IsEnding();
}

bool SessionState::IsEnding() const {
    return status_.state == State::kCancelling || status_.state == State::kStopping;
}

bool SessionState::RequestStop() {
    MutexLock lock(mutex_);
    if (status_.state == State::kFinished) return false;
    status_.state = State::kCancelling;
    status_.canDrain = false;
    status_.uri.reset();
    wakeUp_.notify_all();
    return true;
}

bool SessionState::HeedsSource() const {
    return status_.state != State::kFinished && !IsEnding() && !status_.sourceError;
}

bool SessionState::AwaitsSourceError() const {
    MutexLock lock(mutex_);
    return HeedsSource();
}

bool SessionState::NoteSource(const Statistics& stats) {
    MutexLock lock(mutex_);
    if (!HeedsSource() || status_.state == State::kPreparing || stats.error == 0) return false;
    const bool canDrain = status_.state == State::kReady || status_.state == State::kOpened;
    status_.sourceError = {.code = stats.error, .endSample = stats.nextSample};
    status_.canDrain = canDrain;
    if (!canDrain) status_.state = State::kStopping;
    wakeUp_.notify_all();
    Emit(kEventSourceError, MakeSourceErrorBody(stats, canDrain, CauseOf(stats)));
    return !canDrain;
}

void SessionState::SetReferenceLengths(std::vector<uint64_t> lengths) {
    MutexLock lock(mutex_);
    referenceLengths_ = std::move(lengths);
}

bool SessionState::AnnounceConnected() {
    MutexLock lock(mutex_);
    if (status_.state == State::kCancelling) return false;
    status_.state = State::kScanning;
    Emit(kEventConnected, json::object());
    for (EarlyEvent& event : std::exchange(early_, {})) Emit(event.type, std::move(event.body));
    return true;
}

std::optional<uint64_t> SessionState::WaitForStart() {
    MutexLock lock(mutex_);
    std::optional<SteadyTime> deadline;  // from the source's end on
    while (!IsEnding()) {
        for (const HeardReference& heard : heard_) {
            if (heard.role == ReferenceRole::kStart) return heard.sample;
        }
        if (!sourceEnded_) {
            lock.Wait(wakeUp_);
            continue;
        }
        if (!deadline) deadline = DeadlineIn(sourceFailed_ ? kSourceErrorWaitMs : 0);
        if (!lock.WaitUntil(wakeUp_, *deadline)) break;
    }
    return std::nullopt;
}

bool SessionState::AnnounceReady(uint64_t startSample, uint64_t servedSample) {
    MutexLock lock(mutex_);
    if (IsEnding()) return false;
    status_.state = State::kReady;
    status_.uri = audioUri_;
    status_.startSample = startSample;
    if (program_.additions.preRollMs) status_.servedSample = servedSample;
    RecomputeProgramEnd();
    Emit(kEventReady, MakeReadyBody(audioUri_, startSample, status_.servedSample));
    return true;
}

void SessionState::NoteAudioOpen() {
    MutexLock lock(mutex_);
    if (status_.state != State::kReady) return;
    status_.state = State::kOpened;
    status_.uri.reset();
}

ProgramEnd SessionState::UpdateProgramEnd(const Statistics& stats) {
    MutexLock lock(mutex_);
    if (stats.finished && (!forcedEnd_ || stats.nextSample < forcedEnd_->sample)) {
        forcedEnd_ = {.sample = stats.nextSample,
                      .reason = stats.error != 0 ? ProgramEndReason::kInterrupted
                                                 : ProgramEndReason::kSourceEnded};
        RecomputeProgramEnd();
    }
    return status_.program.value();
}

void SessionState::Finish(SessionStatus::Outcome outcome, const std::optional<Statistics>& buffer) {
    using Reason = SessionStatus::Reason;
    MutexLock lock(mutex_);
    if (status_.state == State::kCancelling) {
        outcome.reason = Reason::kCancelled;
    } else if (status_.state == State::kStopping) {
        outcome.reason = Reason::kError;
    }
    if (outcome.reason == Reason::kError && !outcome.cause && buffer) {
        try {
            outcome.cause = CauseOf(*buffer);
        } catch (const std::bad_alloc&) {
            // The end must be told all the same.
        }
    }
    if (outcome.reason != Reason::kError || !program_.additions.reportsCause) outcome.cause.reset();
    status_.state = State::kFinished;
    status_.canDrain = false;
    status_.outcome = std::move(outcome);
    status_.uri.reset();
    status_.buffer = buffer;
    try {
        Emit(kEventFinished, MakeSnapshotObject(status_));
    } catch (...) {
        // Nobody can be told; the host must still be able to let go of the session.
    }
}

void SessionState::NoteMatch(const DetectorMatch& match) {
    MutexLock lock(mutex_);
    if (!HeedsAudio()) return;
    const PreparedReference& reference = program_.references.at(match.referenceIndex);
    const uint64_t length = referenceLengths_.at(match.referenceIndex);
    heard_.push_back({.role = reference.role, .sample = match.sample, .length = length});
    status_.matches.push_back({.referenceId = reference.id,
                               .role = reference.role,
                               .sample = match.sample,
                               .observedAfterSample = match.observedAfterSample,
                               .ber = match.ber});
    wakeUp_.notify_all();
    EmitHeard(kEventDetected, MakeMatchObject(status_.matches.back()));
    RecomputeProgramEnd();
}

void SessionState::NoteResumption(const SourceResumption& resumption) {
    MutexLock lock(mutex_);
    if (!HeedsAudio()) return;
    if (status_.gaps) {
        if (status_.gaps->size() == SessionStatus::kMaxGapsKept) {
            status_.gaps->erase(status_.gaps->begin());
        }
        status_.gaps->push_back(resumption);
    }
    EmitHeard(kEventResumed, MakeResumedBody(resumption, program_.additions.reportsCause));
}

void SessionState::NoteDamage(const SourceDamage& damage) {
    MutexLock lock(mutex_);
    if (HeedsAudio()) EmitHeard(kEventDamaged, MakeDamagedBody(damage));
}

void SessionState::NoteTitle(const SourceTitle& title) {
    MutexLock lock(mutex_);
    if (HeedsAudio()) EmitHeard(kEventTitle, MakeTitleBody(title));
}

void SessionState::NoteStation(const SourceStation& station) {
    MutexLock lock(mutex_);
    if (HeedsAudio()) EmitHeard(kEventStation, MakeStationBody(station));
}

void SessionState::NoteFailure(const SourceFailure& failure) {
    MutexLock lock(mutex_);
    failure_ = failure;
}

bool SessionState::HeedsAudio() const {
    // The source goes on after the programme's end, but nothing may follow FINISHED.
    return !IsEnding() && status_.state != State::kFinished;
}

std::optional<SessionCause> SessionState::CauseOf(const Statistics& stats) const {
    if (!program_.additions.reportsCause) return std::nullopt;
    SessionCause cause;
    if (stats.error == kErrorOutOfMemory) {
        cause.kind = SessionCause::Kind::kMemory;
        cause.text = "no memory left";
    } else if (stats.error == kErrorNone && stats.finished) {
        cause.source = {.kind = SourceFailure::Kind::kEnded, .text = "the stream ended"};
    } else if (failure_) {
        cause.source = *failure_;
    } else {
        cause.source.text = "the source failed";
    }
    return cause;
}

void SessionState::EmitHeard(std::string_view type, json body) {
    if (status_.state == State::kPreparing) {
        early_.push_back({type, std::move(body)});
    } else {
        Emit(type, std::move(body));
    }
}

void SessionState::NoteSourceEnd(bool failed) {
    MutexLock lock(mutex_);
    sourceEnded_ = true;
    sourceFailed_ = failed;
    wakeUp_.notify_all();
}

void SessionState::RecomputeProgramEnd() {
    if (!HasProgramBounds() || !status_.startSample) return;
    const ProgramEnd end = ComputeProgramEnd({.startSample = *status_.startSample,
                                              .maximumMs = program_.maximumMs,
                                              .fadeMs = program_.fadeMs},
                                             heard_, forcedEnd_);
    if (status_.program == end) return;
    status_.program = end;
    Emit(kEventProgramEnd, MakeProgramEndBody(end));
}

void SessionState::Emit(std::string_view type, json body) {
    if (status_.state == State::kCancelling) return;
    if (status_.state == State::kStopping && type != kEventSourceError) return;
    postEvent_(MakeEvent(type, status_.sessionId, ++status_.sequence, std::move(body)));
}

}  // namespace receiver
