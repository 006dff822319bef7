// Takes PCM as fast as it comes and writes it at the output's own pace: a disk or an
// encoder that pauses is never felt by the receiver, which gives up on a client that
// does not read for a second.
//
//   Units    a frame is one 16-bit sample of every channel, interleaved.
//   Threads  the writer (owned; joined by Finish and the destructor) encodes. One
//            thread appends. GetProgress: any thread.
//   Lock     mutex_ guards the queue and the progress; never held across the output.
//   Errors   by result; Progress::failure tells why, for people.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "audio_output/audio_encoder.h"
#include "platform/thread_safety.h"
#include "receiver_client/pcm1_reader.h"

namespace receiver {

class RecordingWriter final {
public:
    struct Progress {
        uint64_t framesQueued = 0;   // appended so far
        uint64_t framesWritten = 0;  // of them, given to the encoder
        std::string failure;         // empty while all is well
    };

    // The sink outlives the object. More than maxQueueBytes behind is a failure.
    RecordingWriter(const OutputFormat& format, const PcmFormat& pcm, RecordingTags tags,
                    RecordingSink& sink, size_t maxQueueBytes);
    ~RecordingWriter();
    RecordingWriter(const RecordingWriter&) = delete;
    RecordingWriter& operator=(const RecordingWriter&) = delete;

    // Never waits for the output. Whole frames. False once the output has failed.
    bool Append(std::span<const std::byte> pcm) EXCLUDES(mutex_);
    // Writes what still waits and closes the file. True when it can be played, which it can also
    // be after a failure. Once.
    bool Finish() EXCLUDES(mutex_);
    // Its first half, which does not wait.
    void AskToFinish() EXCLUDES(mutex_);
    // Whether all is written and the file closed, or the output has failed; waits so long at
    // most.
    bool WaitForOutput(std::chrono::milliseconds timeout) EXCLUDES(mutex_);
    Progress GetProgress() EXCLUDES(mutex_);

private:
    using Block = std::vector<int16_t>;

    void Run() EXCLUDES(mutex_);
    bool WriteQueue(AudioEncoder& encoder) EXCLUDES(mutex_);  // until Finish or a failure
    void Fail(const std::string& why) EXCLUDES(mutex_);

    const OutputFormat& format_;
    const PcmFormat pcm_;
    const RecordingTags tags_;
    RecordingSink& sink_;  // the writer's alone
    const size_t maximumQueueBytes_;

    Mutex mutex_;
    std::condition_variable changed_;
    std::deque<Block> queue_ GUARDED_BY(mutex_);
    size_t queuedBytes_ GUARDED_BY(mutex_) = 0;
    Progress progress_ GUARDED_BY(mutex_);
    bool finishing_ GUARDED_BY(mutex_) = false;
    bool hasEnded_ GUARDED_BY(mutex_) = false;  // the writer
    bool playable_ GUARDED_BY(mutex_) = false;  // valid when the writer has ended

    std::thread writer_;
};

}  // namespace receiver
