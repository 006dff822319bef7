// Cuts the programme out of the audio that comes: finds the very sample with which it begins,
// and the one before which it ends, and hands on what lies between, faded where it is to fade.
// Audio is held back until nothing can be heard any more that would end the programme in it.
//
//   Units    samples are frames of the stream, counted from its first one; PCM is interleaved
//            16-bit.
//   Threads  the cutter (owned; joined by Finish and the destructor) decides and calls the sink.
//            One thread appends. All else: any thread.
//   Lock     mutex_ guards what has come and what is known; never held across the sink.
//   Errors   by result; State::failure tells why, for people.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "platform/thread_safety.h"
#include "receiver_client/messages.h"
#include "receiver_client/pcm1_reader.h"
#include "receiver_record/cut/cut_plan.h"
#include "receiver_record/cut/held_audio.h"
#include "receiver_record/cut/jingle_places.h"

namespace receiver {

// What is known of the cut.
struct CutState {
    std::optional<uint64_t> begin;
    bool beginIsExact = false;
    std::optional<ProgramEnd> end;  // as far as it is known
    bool endIsExact = false;        // of an end recording
    bool isComplete = false;        // all of the programme has been handed on
    uint64_t framesReceived = 0;
    uint64_t framesFound = 0;  // of the programme, among them
    uint64_t framesSettled = 0;
    // Once so many have been received they may be settled at once: the programme ends there.
    std::optional<uint64_t> framesToEnd;
    std::string failure;
};

class ProgramCutter final {
public:
    // Takes whole frames, on the cutter's thread. False once it takes no more.
    using Sink = std::function<bool(std::span<const std::byte>)>;

    // More than maxBytes held is a failure.
    ProgramCutter(CutPlan plan, const PcmFormat& format, Sink sink, size_t maxBytes);
    ~ProgramCutter();
    ProgramCutter(const ProgramCutter&) = delete;
    ProgramCutter& operator=(const ProgramCutter&) = delete;

    // Never waits. Whole frames. False once the cut has failed.
    bool Append(std::span<const std::byte> pcm) EXCLUDES(mutex_);
    // All that the receiver has heard so far, in its order.
    void Tell(const std::vector<Match>& matches) EXCLUDES(mutex_);
    // Of the first so many frames that were received, it has told all that it hears in them.
    void Settle(uint64_t frames) EXCLUDES(mutex_);
    // No more comes, and all has been told: hands on the rest. With the reason for which the
    // source ended, if it did. Once.
    void Finish(std::optional<ProgramEndReason> sourceEnd = {}) EXCLUDES(mutex_);
    CutState State() EXCLUDES(mutex_);
    // The highest sample that has come since the last call, 0..1.
    double TakePeak() EXCLUDES(mutex_);

private:
    void Run() EXCLUDES(mutex_);
    void Work() EXCLUDES(mutex_);
    bool TakeNews() EXCLUDES(mutex_);  // false when this is the last time
    void Publish(const std::string& failure) EXCLUDES(mutex_);

    // The cutter's thread.
    void LoadRecordings();
    void Advance(bool isLast);
    bool FindBegin(bool isLast);
    void FindEnds(bool isLast);
    void DecideEnd(bool isLast);
    uint64_t DecidedUpTo(bool isLast) const;
    uint64_t FadeFrames() const;
    void HandOn(uint64_t upTo);
    void HandOn(std::span<const int16_t> pcm);
    void ForgetAudio();

    const CutPlan plan_;
    const unsigned channels_;
    const Sink sink_;
    const size_t maximumBytes_;

    // The cutter's alone.
    std::optional<JingleSound> start_;
    std::map<std::string, JingleSound> ends_;  // by the recording's id
    uint64_t hearingFrames_ = 0;  // within so many after an end of the programme it is told
    uint64_t historyFrames_ = 0;  // of audio that was handed on and may be compared
    HeldAudio audio_;
    std::vector<Match> awaiting_;  // ends whose audio has not all come
    std::vector<CutEnd> found_;
    uint64_t position_ = 0;  // the next sample to hand on; valid once it has begun
    uint64_t settled_ = 0;   // a sample
    std::optional<ForcedEnd> forced_;
    CutState known_;

    Mutex mutex_;
    std::condition_variable changed_;
    std::vector<int16_t> arrived_ GUARDED_BY(mutex_);
    std::vector<Match> told_ GUARDED_BY(mutex_);  // ends not yet looked at
    size_t matchesTold_ GUARDED_BY(mutex_) = 0;
    uint64_t framesReceived_ GUARDED_BY(mutex_) = 0;
    uint64_t framesSettled_ GUARDED_BY(mutex_) = 0;
    size_t bytesHeld_ GUARDED_BY(mutex_) = 0;  // by the thread
    std::optional<ProgramEndReason> sourceEnd_ GUARDED_BY(mutex_);
    double peak_ GUARDED_BY(mutex_) = 0;
    bool finishing_ GUARDED_BY(mutex_) = false;
    bool isNews_ GUARDED_BY(mutex_) = true;
    CutState state_ GUARDED_BY(mutex_);

    std::thread thread_;
};

}  // namespace receiver
