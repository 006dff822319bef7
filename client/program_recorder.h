// ReceiverClient::RecordProgram at work: one thread follows the events, one reads the audio,
// and the thread that called hands both to the sink.
//
//   Units    sizes are bytes, positions frames.
//   Threads  owns the two, "program-events" and "program-audio"; both are joined by Run, or by
//            the destructor. The events' thread has the client to itself while it runs, but for
//            RequestCancel.
//   Lock     mutex_ guards what the two leave for the third. A leaf.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "platform/thread_safety.h"
#include "receiver_client/receiver_client.h"

namespace receiver {

class ProgramRecorder final {
public:
    // All outlive the object.
    ProgramRecorder(ReceiverClient& client, const Cancellation& cancellation,
                    const ProgramSink& sink);
    ~ProgramRecorder();
    ProgramRecorder(const ProgramRecorder&) = delete;
    ProgramRecorder& operator=(const ProgramRecorder&) = delete;

    ProgramResult Run(const PrepareRequest& request);  // once

private:
    // What the events' thread has learnt: an event, or what the receiver said when it was asked.
    struct News {
        std::optional<Event> event;
        std::optional<SessionSnapshot> session;
    };

    void FollowEvents() EXCLUDES(mutex_);
    std::optional<News> NextNews();
    void EndEvents(const Error& error) EXCLUDES(mutex_);
    void ReadAudio(const std::string& uri) EXCLUDES(mutex_);
    bool QueueAudio(std::span<const std::byte> pcm) EXCLUDES(mutex_);
    void EndAudio(Pcm1Reader::Result result, const Error& error) EXCLUDES(mutex_);

    bool HandOut() EXCLUDES(mutex_);
    void Take(const News& news);
    void Take(const SessionSnapshot& session);
    void StartAudio(const std::string& uri);
    void Take(std::span<const std::byte> pcm);
    void Give(std::span<const std::byte> pcm);
    void Flush();
    uint64_t FramesWanted() const;
    template <typename Call>
    void CallSink(Call call);
    void RefuseUnsupported(const std::vector<std::string>& missing);
    void Stop();
    void Judge() EXCLUDES(mutex_);

    ReceiverClient& client_;
    const Cancellation& cancellation_;
    const ProgramSink& sink_;
    std::string sessionId_;

    // The calling thread's own.
    std::thread events_;
    std::thread audio_;
    ProgramResult result_;
    std::vector<std::byte> held_;  // audio that may turn out to lie behind the end
    bool begun_ = false;           // the sink knows the format
    bool refused_ = false;         // the sink wants, or gets, no more
    std::exception_ptr thrown_;    // by the sink

    Mutex mutex_;
    std::condition_variable changed_;
    std::deque<News> news_ GUARDED_BY(mutex_);
    std::deque<std::vector<std::byte>> pcm_ GUARDED_BY(mutex_);
    size_t pcmBytes_ GUARDED_BY(mutex_) = 0;
    std::optional<PcmFormat> format_ GUARDED_BY(mutex_);
    bool eventsEnded_ GUARDED_BY(mutex_) = false;
    bool audioEnded_ GUARDED_BY(mutex_) = true;  // also before it began
    Pcm1Reader::Result audioResult_ GUARDED_BY(mutex_) = Pcm1Reader::Result::kError;
    Error eventsError_ GUARDED_BY(mutex_);
    Error audioError_ GUARDED_BY(mutex_);
};

}  // namespace receiver
