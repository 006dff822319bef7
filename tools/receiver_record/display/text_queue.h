// Texts on their way to a stream whose reader may be slow, or stand still: a recording must
// not wait for whoever looks at it. What finds no room is counted and told of as soon as there
// is room again.
//
//   Threads  the writer (owned; joined by the destructor) writes. The rest: one thread.
//   Lock     mutex_ guards the queue; never held across the stream.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform/output_stream.h"
#include "platform/thread_safety.h"
#include "receiver_record/display/text_output.h"

namespace receiver {

class TextQueue final : public TextOutput {
public:
    struct Settings {
        std::string threadName;
        // What is said of so many texts that found no room; whole, with its line feed.
        std::function<std::string(uint64_t dropped)> note;
        size_t maxBytes = 1 << 20;
        unsigned flushMs = 2000;  // what still waits at the end has so long
    };

    TextQueue(std::unique_ptr<OutputStream> output, Settings settings);
    ~TextQueue() override;

    // Never waits. True also when the reader has gone: there is nobody to miss it.
    bool Write(std::string text) override EXCLUDES(mutex_);
    bool IsBehind() override EXCLUDES(mutex_);

private:
    void Run() EXCLUDES(mutex_);
    bool HasRoom(size_t bytes) const REQUIRES(mutex_);
    void Append(std::string text) REQUIRES(mutex_);

    const std::unique_ptr<OutputStream> output_;
    const Settings settings_;

    Mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> queue_ GUARDED_BY(mutex_);  // its front may be being written
    size_t queuedBytes_ GUARDED_BY(mutex_) = 0;
    uint64_t dropped_ GUARDED_BY(mutex_) = 0;  // not yet told of
    bool isBroken_ GUARDED_BY(mutex_) = false;
    bool isClosing_ GUARDED_BY(mutex_) = false;

    std::thread writer_;
};

}  // namespace receiver
