// The audio that a session serves, and when its receiver dies, that of the session which takes
// its place: joined to what came before, to the sample, as a receiver joins the connections of
// a station. What is missing is silence by the clock.
//
//   Units    frames of the stream, 16-bit interleaved; its first one is 0.
//   Threads  Open, Read and what is valid after them: the reader. All else: any.
//   Lock     mutex_ guards what passes between the two; never held across the pipe.
//   Errors   by result, the cause in Failure().
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "audio/reconnecting_audio_file.h"
#include "platform/thread_safety.h"
#include "receiver_client/cancellation.h"
#include "receiver_client/pcm1_reader.h"
#include "receiver_record/output/audio_progress.h"

namespace receiver {

struct AudioJoint {
    SourceResumption resumption;
    bool isNewest = false;  // of the pipe that came last
};

class ServedAudio final {
public:
    // With `mayContinue`, a pipe that breaks off does not end it: the next session's is waited
    // for, until Stop. `beforeAcknowledgement` may wait; it runs on the reader's thread.
    ServedAudio(bool mayContinue, std::function<void()> beforeAcknowledgement);
    ServedAudio(const ServedAudio&) = delete;
    ServedAudio& operator=(const ServedAudio&) = delete;

    bool Open(const std::string& uri);
    PcmFormat Format();
    // Whole frames, as soon as there are some; 0 when no more comes.
    size_t Read(std::span<std::byte> buffer);
    // How it ended, once Read has given 0.
    AudioEnd Ending() EXCLUDES(mutex_);
    std::string Failure() EXCLUDES(mutex_);  // of the last pipe

    // The pipe of the session that goes on.
    void Continue(const std::string& uri) EXCLUDES(mutex_);
    // No more is waited for: what came is all.
    void Stop() EXCLUDES(mutex_);
    bool IsStopped() const { return cancellation_.IsCancelled(); }
    // The pipe has broken off, and there is no other yet.
    bool IsWaiting() EXCLUDES(mutex_);
    // The joints since the last call. Frame repeatedFrames of the new pipe stands at
    // sample + lostFrames of the stream.
    std::vector<AudioJoint> TakeJoints() EXCLUDES(mutex_);

private:
    class Pipe;

    SourceConnection Connect() EXCLUDES(mutex_);
    std::optional<std::string> AwaitUri() EXCLUDES(mutex_);
    void NoteEnd(AudioEnd ending, const std::string& failure) EXCLUDES(mutex_);

    const std::function<void()> beforeAcknowledgement_;
    Cancellation cancellation_;

    Mutex mutex_;
    std::condition_variable changed_;
    std::optional<std::string> uri_ GUARDED_BY(mutex_);  // not yet connected to
    bool isWaiting_ GUARDED_BY(mutex_) = false;
    AudioEnd ending_ GUARDED_BY(mutex_) = AudioEnd::kRunning;  // of the last pipe
    std::string failure_ GUARDED_BY(mutex_);
    std::vector<AudioJoint> joints_ GUARDED_BY(mutex_);

    ReconnectingAudioFile stream_;  // the reader's alone
};

}  // namespace receiver
