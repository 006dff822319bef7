#include "session/session_state.h"

#include <nlohmann/json.hpp>
#include <utility>

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
    Emit(kEventSourceError, MakeSourceErrorBody(stats, canDrain));
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
    for (const SessionMatch& match : status_.matches) Emit(kEventDetected, MakeMatchObject(match));
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

bool SessionState::AnnounceReady(uint64_t startSample) {
    MutexLock lock(mutex_);
    if (IsEnding()) return false;
    status_.state = State::kReady;
    status_.uri = audioUri_;
    status_.startSample = startSample;
    RecomputeProgramEnd();
    Emit(kEventReady, MakeReadyBody(audioUri_, startSample));
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
    // The source goes on after the programme's end, but nothing may follow FINISHED.
    if (IsEnding() || status_.state == State::kFinished) return;
    const PreparedReference& reference = program_.references.at(match.referenceIndex);
    const uint64_t length = referenceLengths_.at(match.referenceIndex);
    heard_.push_back({.role = reference.role, .sample = match.sample, .length = length});
    status_.matches.push_back({.referenceId = reference.id,
                               .role = reference.role,
                               .sample = match.sample,
                               .observedAfterSample = match.observedAfterSample,
                               .ber = match.ber});
    wakeUp_.notify_all();
    if (status_.state != State::kPreparing) {
        Emit(kEventDetected, MakeMatchObject(status_.matches.back()));
    }
    RecomputeProgramEnd();
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
