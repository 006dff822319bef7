// Empties what sessions serve into a recording, on a thread of its own. Between the two the
// programme is cut out of what comes.
//
//   Threads  the reader (owned; joined by WaitForEnd and the destructor) reads the pipe.
//            Everything else: one thread, but GetProgress and Ended: any.
//   Lock     mutex_ guards the state; never held across the pipe or the output.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "platform/thread_safety.h"
#include "receiver_record/cut/program_cutter.h"
#include "receiver_record/output/audio_progress.h"
#include "receiver_record/output/recording_writer.h"
#include "receiver_record/output/served_audio.h"

namespace receiver {

class AudioIntake final {
public:
    struct Source {
        std::string uri;           // connected to at once
        bool mayContinue = false;  // in another session's audio, when this one's breaks off
    };

    // The sink outlives the object.
    AudioIntake(Source source, const OutputFormat& format, RecordingTags tags, RecordingSink& sink,
                CutPlan plan = {});
    ~AudioIntake();
    AudioIntake(const AudioIntake&) = delete;
    AudioIntake& operator=(const AudioIntake&) = delete;

    // Stops waiting for more.
    void Stop() EXCLUDES(mutex_);
    // As ServedAudio has them.
    bool IsWaiting() { return audio_.IsWaiting(); }
    void Continue(const std::string& uri) { audio_.Continue(uri); }
    std::vector<AudioJoint> TakeJoints() { return audio_.TakeJoints(); }
    // While it is held, the end of the audio is acknowledged only after some hundred
    // milliseconds: the session lives on until then, and can be asked how it ended.
    void HoldAcknowledgement(bool isHeld) EXCLUDES(mutex_);
    bool Ended() EXCLUDES(mutex_);
    void WaitForEnd() EXCLUDES(mutex_);  // of the stream, one way or another
    // The same for so long at most; whether it has ended.
    bool WaitForEnd(std::chrono::milliseconds timeout) EXCLUDES(mutex_);
    // After WaitForEnd, and both optional: Finish's first half, which does not wait, and whether
    // the output has taken everything or failed, which waits so long at most.
    void AskToFinish() EXCLUDES(mutex_);
    bool WaitForOutput(std::chrono::milliseconds timeout) EXCLUDES(mutex_);
    // After WaitForEnd: writes what has come, and closes the output. Once.
    void Finish() EXCLUDES(mutex_);
    AudioProgress GetProgress() EXCLUDES(mutex_);

    // As the cutter has them; nothing is lost by telling before there is audio.
    void Tell(const std::vector<Match>& matches) EXCLUDES(mutex_);
    void Settle(uint64_t frames) EXCLUDES(mutex_);
    CutState Cut() EXCLUDES(mutex_);
    // After WaitForEnd, when all is told: the last of the programme goes to the output. Before
    // AskToFinish.
    void FinishCut() EXCLUDES(mutex_);
    // The highest sample since the last call, 0..1.
    double TakePeak() EXCLUDES(mutex_);

private:
    void Run() EXCLUDES(mutex_);
    void AwaitAcknowledgement() EXCLUDES(mutex_);
    AudioEnd Receive(ProgramCutter& cutter);
    std::shared_ptr<RecordingWriter> Writer() EXCLUDES(mutex_);
    std::shared_ptr<ProgramCutter> Cutter() EXCLUDES(mutex_);
    void End(AudioEnd end, const std::string& why = "") EXCLUDES(mutex_);

    const Source source_;
    const OutputFormat& outputFormat_;
    const RecordingTags tags_;
    RecordingSink& sink_;
    const CutPlan plan_;
    ServedAudio audio_;

    Mutex mutex_;
    std::condition_variable changed_;
    bool isHeld_ GUARDED_BY(mutex_) = false;
    AudioProgress progress_ GUARDED_BY(mutex_);  // but the counts of frames
    std::shared_ptr<RecordingWriter> writer_ GUARDED_BY(mutex_);
    std::shared_ptr<ProgramCutter> cutter_ GUARDED_BY(mutex_);  // writes to the writer

    std::thread thread_;
};

}  // namespace receiver
