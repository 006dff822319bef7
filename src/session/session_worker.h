// The body of a session's worker thread, and the owner of its audio chain: loads the
// references, opens the source, waits for the start reference, and serves the programme
// over the audio pipe.
//
//   Threads  Run on the session's own thread. CancelChain and ReadStatistics: any thread.
//            The buffer's filler goes on reporting matches to the state when Run has
//            ended; it ends with the object.
//   Lock     none; what other threads use is set once. The state is never called with a
//            lock of the chain held.
//   Errors   a failure ends the session with FINISHED "error" and its text.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "audio/ffmpeg_network_cancellation.h"
#include "audio/rubber_buffer_audio_file.h"
#include "detect/detector_match.h"
#include "detect/reference_loading.h"
#include "pipe/pcm_pipe.h"
#include "pipe/pcm_pipe_cancellation.h"
#include "session/session_source.h"
#include "session/session_state.h"

namespace receiver {

class SessionWorker final {
public:
    // Called once, in Run, when the references are loaded.
    using SourceFactory = SessionSourceFactory;

    // The state outlives the object. Without a factory the source is the program's URL
    // under the detector. `onSourceEnd` as ReceiverSession's.
    SessionWorker(SessionState& state, SourceFactory makeSource,
                  std::function<void()> onSourceEnd = {});
    SessionWorker(const SessionWorker&) = delete;
    SessionWorker& operator=(const SessionWorker&) = delete;

    void Run() noexcept;  // once; ends with exactly one FINISHED

    // Makes every blocking call of the chain return, now and from here on. Does not wait.
    // Comes after the state has been told why.
    void CancelChain();
    // The buffer's; nothing while there is none.
    std::optional<SessionState::Statistics> ReadStatistics() const;

private:
    SessionStatus::Outcome RunSteps();  // throws std::exception with the text for FINISHED
    std::vector<ReferenceFingerprint> LoadReferences();
    CRubberBufferAudioFile& BuildChain(std::vector<ReferenceFingerprint>&& references);
    SourceNotes MakeNotes();
    void NoteMatch(const DetectorMatch& match);
    uint64_t LookBackFrames(const std::vector<ReferenceFingerprint>& references) const;
    // How long the buffer's reader waits for audio that is to come.
    uint32_t SourcePatienceMs() const;
    void NoteSourceEnd();
    uint64_t WaitForStart();
    // Where the audio that is served begins.
    uint64_t Position(CRubberBufferAudioFile& buffer, uint64_t startSample) const;
    SessionStatus::Outcome Serve(CRubberBufferAudioFile& buffer, CPcmPipe& endpoint,
                                 uint64_t servedSample);

    SessionState& state_;
    const SourceFactory makeSource_;
    const std::function<void()> onSourceEnd_;
    const std::shared_ptr<CFFmpegNetworkCancellation> networkCancellation_;
    const std::shared_ptr<CPcmPipeCancellation> pipeCancellation_;
    std::unique_ptr<CRubberBufferAudioFile> buffer_;  // Run's; kept, so that its end can be told
    // buffer_ for every thread. Set before Run asks whether a stop was requested, read
    // after one was: either Run sees the stop, or the stop sees the buffer.
    std::atomic<CRubberBufferAudioFile*> sharedBuffer_{nullptr};
};

}  // namespace receiver
