// The threads that somebody has stopped waiting for because they are in a call that cannot
// be interrupted, such as a name lookup. Each ends by itself, sooner or later, and is joined
// then. One for the process: the last of them may outlive everything else.
//
//   Threads  any.
//   Lock     mutex_, a leaf; never held while a running thread is joined.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

#include "platform/thread_safety.h"

namespace receiver {

class AbandonedThreads final {
public:
    static constexpr size_t kMaxThreads = 64;

    AbandonedThreads();

    // Never destroyed, so that the end of the process waits for no thread that is still in
    // its call. Such a thread uses nothing that the end of the process takes away.
    static AbandonedThreads& Instance();

    // Joins what has ended, and tells whether one more may be added.
    bool HasRoom() EXCLUDES(mutex_);
    // `ended` is set by the thread as its last act but one; after that it must not block.
    void Add(std::thread thread, std::shared_ptr<const std::atomic<bool>> ended) EXCLUDES(mutex_);

private:
    struct Entry {
        std::thread thread;
        std::shared_ptr<const std::atomic<bool>> ended;
    };

    Mutex mutex_;
    std::vector<Entry> entries_ GUARDED_BY(mutex_);
};

}  // namespace receiver
