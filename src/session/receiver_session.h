// One reception, from an accepted PREPARE to FINISHED: owns the audio buffer, the
// worker thread that drives the chain (session_worker.h), and the state that the
// controlling program sees.
//
//   Units    samples are source frames at 44100 Hz.
//   Threads  the host's thread creates, polls, stops and destroys; the worker and
//            the chain's threads come in through the callbacks.
//   Lock     mutex_ guards the state under it. It may be held while an event is
//            posted; the buffer's statistics are read and the cancellations given
//            only without it.
//   Errors   a failure ends the session with FINISHED "error" and its text.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "audio/ffmpeg_network_cancellation.h"
#include "audio/rubber_buffer_audio_file.h"
#include "detect/detector_match.h"
#include "detect/receiver_program_audio_file.h"
#include "detect/reference_loading.h"
#include "pipe/pcm_pipe_cancellation.h"
#include "platform/thread_safety.h"
#include "session/prepared_program.h"
#include "session/session_events.h"

namespace receiver {

// What the buffer listens to: a file that delivers the stream and reports matches
// from within its Open and Read, and the way to make a blocked one return.
struct SessionSource {
    std::unique_ptr<CAudioFile> file;
    std::function<void()> stop;  // any thread, any number of times
};

class ReceiverSession final {
public:
    // Called with the session's mutex held, on any of its threads; queues the event
    // and returns, never calling back into the session.
    using EventSink = std::function<void(nlohmann::json)>;

    // Called once, on the worker, when the references are loaded.
    using SourceFactory =
        std::function<SessionSource(std::vector<ReferenceFingerprint>&& references,
                                    std::function<void(const DetectorMatch&)> onMatch)>;

    // Without a factory the source is the program's URL under the detector.
    ReceiverSession(PreparedProgram program, std::string audioUri, EventSink postEvent,
                    SourceFactory makeSource = {});
    ~ReceiverSession();  // stops and joins
    ReceiverSession(const ReceiverSession&) = delete;
    ReceiverSession& operator=(const ReceiverSession&) = delete;

    void Start();  // once; throws std::system_error if no thread can be started
    // Ends the session with reason "cancelled" unless it has finished; returns at once.
    void RequestStop() EXCLUDES(mutex_);
    // Waits for the worker. Throws std::system_error on the worker itself.
    void Join();
    // Notices a failed source; cheap, called on every pass of the host's loop.
    void PollSource() EXCLUDES(mutex_);
    nlohmann::json Snapshot() const EXCLUDES(mutex_);
    bool IsFinished() const { return finished_; }

private:
    friend class SessionWorker;

    // --- for the worker and the chain's callbacks ---
    void OnMatch(const DetectorMatch& match) EXCLUDES(mutex_);
    ReceiverProgramBoundary OnProgramBoundary() EXCLUDES(mutex_);
    void OnAudioOpen() EXCLUDES(mutex_);
    void Finish(const char* reason, const std::string& message) EXCLUDES(mutex_);
    void EmitEvent(const char* type, nlohmann::json body) REQUIRES(mutex_);
    void RecomputeProgramEnd() REQUIRES(mutex_);
    ProgramEnd ComputeProgramEnd() const REQUIRES(mutex_);
    std::optional<uint64_t> StartSample() const REQUIRES(mutex_);  // of the first start match
    bool IgnoresSource() const REQUIRES(mutex_);  // a source error would change nothing
    bool IsStoppedOrFailing() const { return stopRequested_ || sourceErrorStopping_; }
    void CancelChain(CRubberBufferAudioFile* buffer) EXCLUDES(mutex_);  // may be null
    std::shared_ptr<CRubberBufferAudioFile> Buffer() const EXCLUDES(mutex_);

    const PreparedProgram program_;
    const std::string audioUri_;
    const EventSink postEvent_;
    const SourceFactory makeSource_;
    const std::shared_ptr<CFFmpegNetworkCancellation> networkCancellation_;
    const std::shared_ptr<CPcmPipeCancellation> pipeCancellation_;
    std::atomic<bool> sourceOpened_{false};
    std::atomic<bool> stopRequested_{false};
    std::atomic<bool> sourceErrorStopping_{false};  // a source error came before READY
    std::atomic<bool> finished_{false};             // FINISHED has been emitted

    mutable Mutex mutex_;
    std::condition_variable wakeUp_;  // told of every match, stop and source error
    std::shared_ptr<CRubberBufferAudioFile> buffer_ GUARDED_BY(mutex_);
    std::vector<DetectorMatch> detections_ GUARDED_BY(mutex_);
    std::vector<uint64_t> referenceLengths_ GUARDED_BY(mutex_);  // frames, in program order
    bool programActive_ GUARDED_BY(mutex_) = false;
    uint64_t programStartSample_ GUARDED_BY(mutex_) = 0;
    int64_t announcedProgramEnd_ GUARDED_BY(mutex_) = -1;
    std::string announcedEndReason_ GUARDED_BY(mutex_);
    uint64_t forcedEnd_ GUARDED_BY(mutex_) = UINT64_MAX;
    std::string forcedReason_ GUARDED_BY(mutex_);
    nlohmann::json snapshot_ GUARDED_BY(mutex_);
    uint64_t sequence_ GUARDED_BY(mutex_) = 0;
    bool sourceErrorNoted_ GUARDED_BY(mutex_) = false;  // a source error came after READY

    std::thread worker_;
};

}  // namespace receiver
