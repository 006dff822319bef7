// The monitor of one session: what has become known of it, what may still happen to it,
// and which events tell of it. The host's thread, the worker and the source's thread
// report what they have seen; the state decides what follows and emits the events.
//
//   States   PREPARING, SCANNING, READY, OPENED, FINISHED in this order; a source that fails
//            before READY leads to STOPPING, a stop from any but the last to CANCELLING, and
//            nothing but these leads on from there to FINISHED. No state comes back, so that
//            each is a one-way flag, too: in STOPPING only SOURCE_ERROR is emitted, in
//            CANCELLING nothing, and FINISHED is emitted last.
//   Units    samples and lengths are frames of the stream, counted at 44100 Hz.
//   Threads  any, where a group says nothing else.
//   Lock     mutex_ guards all that changes and is held while an event is posted. Of the
//            audio chain nothing is known here: its statistics are read before a call,
//            and it is cancelled after one that asks for it, in both cases without mutex_.
//   Errors   what the event sink throws comes out of every call that can emit an event,
//            except Finish. A dropped event uses up no sequence number.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "audio/rubber_buffer_audio_file.h"
#include "detect/detector_match.h"
#include "platform/thread_safety.h"
#include "session/prepared_program.h"
#include "session/program_end.h"
#include "session/session_status.h"

namespace receiver {

class SessionState final {
public:
    // Called with the mutex held, on any of the session's threads; queues the event and
    // returns, never calling back into the session.
    using EventSink = std::function<void(nlohmann::json)>;
    using Statistics = CRubberBufferAudioFile::Stats;
    using State = SessionStatus::State;

    // Where a session stands, for who needs no more than that.
    struct Standing {
        State state = State::kPreparing;
        std::optional<SessionStatus::Reason> reason;  // once finished
    };

    SessionState(PreparedProgram program, std::string audioUri, EventSink postEvent);

    // Constant.
    const PreparedProgram& Program() const { return program_; }
    const std::string& AudioUri() const { return audioUri_; }
    bool HasProgramBounds() const { return program_.maximumMs != 0; }

    SessionStatus Status() const EXCLUDES(mutex_);  // one consistent copy
    Standing GetStanding() const EXCLUDES(mutex_);
    bool IsFinished() const EXCLUDES(mutex_);  // FINISHED has been emitted
    // Valid until the session has finished; once true, true until then.
    bool IsStopRequested() const EXCLUDES(mutex_);
    bool IsStoppedOrFailing() const EXCLUDES(mutex_);

    // --- the host's thread ---

    // True unless the session has finished: the caller has to cancel the chain, also when
    // it has done so before.
    [[nodiscard]] bool RequestStop() EXCLUDES(mutex_);
    // False when NoteSource would change nothing, whatever the statistics say.
    bool AwaitsSourceError() const EXCLUDES(mutex_);
    // Emits SOURCE_ERROR, once, when the statistics carry an error of an open source. True
    // when there is nothing to serve: the caller has to cancel the chain.
    [[nodiscard]] bool NoteSource(const Statistics& stats) EXCLUDES(mutex_);

    // --- the worker, in this order ---

    // One for each reference of the request, in its order; before the first match.
    void SetReferenceLengths(std::vector<uint64_t> lengths) EXCLUDES(mutex_);
    // The source is open: emits CONNECTED, and DETECTED for every match so far. False, and
    // nothing done, when a stop was asked for.
    [[nodiscard]] bool AnnounceConnected() EXCLUDES(mutex_);
    // Waits for a start reference: where it was heard, the first in order of arrival. Nothing
    // when the session is stopped or failing, or the source has ended without one; one that has
    // failed is waited for 20 ms more, so that NoteSource tells it first.
    std::optional<uint64_t> WaitForStart() EXCLUDES(mutex_);
    // The audio pipe listens: emits PROGRAM_END, if there are bounds, and READY. False, and
    // nothing done, when the session is stopped or failing. The audio begins at servedSample,
    // which is told only where a pre-roll was asked for.
    [[nodiscard]] bool AnnounceReady(uint64_t startSample, uint64_t servedSample) EXCLUDES(mutex_);
    // The audio pipe's client has come. No event; nothing after a stop.
    void NoteAudioOpen() EXCLUDES(mutex_);
    // The programme's end as it is known with these statistics; emits PROGRAM_END when they
    // move it. Only after AnnounceReady with bounds; throws std::bad_optional_access else.
    ProgramEnd UpdateProgramEnd(const Statistics& stats) EXCLUDES(mutex_);
    // Emits FINISHED; once. A stop or a failed source takes precedence over the reason. An
    // event that cannot be posted is lost, but the session has finished all the same.
    void Finish(SessionStatus::Outcome outcome, const std::optional<Statistics>& buffer)
        EXCLUDES(mutex_);

    // --- the thread that reads the detector ---

    // Emits DETECTED, unless AnnounceConnected is still to come, and PROGRAM_END if the match
    // moves it. Does nothing when the session is stopped, failing or finished. Throws
    // std::out_of_range for a reference that is not in the request.
    void NoteMatch(const DetectorMatch& match) EXCLUDES(mutex_);
    // RESUMED, DAMAGED, TITLE and STATION, when they are heeded as a match is.
    void NoteResumption(const SourceResumption& resumption) EXCLUDES(mutex_);
    void NoteDamage(const SourceDamage& damage) EXCLUDES(mutex_);
    void NoteTitle(const SourceTitle& title) EXCLUDES(mutex_);
    void NoteStation(const SourceStation& station) EXCLUDES(mutex_);
    // No event: the newest one is the cause of a SOURCE_ERROR or FINISHED that follows.
    void NoteFailure(const SourceFailure& failure) EXCLUDES(mutex_);
    // No match follows.
    void NoteSourceEnd(bool failed) EXCLUDES(mutex_);

private:
    struct EarlyEvent {
        std::string_view type;
        nlohmann::json body;
    };
    void Emit(std::string_view type, nlohmann::json body) REQUIRES(mutex_);
    // At once, or after CONNECTED.
    void EmitHeard(std::string_view type, nlohmann::json body) REQUIRES(mutex_);
    bool HeedsAudio() const REQUIRES(mutex_);
    std::optional<SessionCause> CauseOf(const Statistics& stats) const REQUIRES(mutex_);
    void RecomputeProgramEnd() REQUIRES(mutex_);
    bool IsEnding() const REQUIRES(mutex_);  // stopped or failing
    bool HeedsSource() const REQUIRES(mutex_);

    const PreparedProgram program_;
    const std::string audioUri_;
    const EventSink postEvent_;

    mutable Mutex mutex_;
    std::condition_variable wakeUp_;  // told of every match, stop, source error and source end
    SessionStatus status_ GUARDED_BY(mutex_);
    std::vector<uint64_t> referenceLengths_ GUARDED_BY(mutex_);
    std::vector<HeardReference> heard_ GUARDED_BY(mutex_);  // the matches of status_, in order
    std::optional<ForcedEnd> forcedEnd_ GUARDED_BY(mutex_);
    std::vector<EarlyEvent> early_ GUARDED_BY(mutex_);  // heard before CONNECTED
    std::optional<SourceFailure> failure_ GUARDED_BY(mutex_);
    bool sourceEnded_ GUARDED_BY(mutex_) = false;
    bool sourceFailed_ GUARDED_BY(mutex_) = false;
};

}  // namespace receiver
