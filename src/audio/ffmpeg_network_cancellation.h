// Stops network sources from another thread. Shared; set once, never cleared.
//
//   Threads  any.
//   Lock     mutex_ is a leaf; it orders the wake-ups, the flag is read without it.
#pragma once

#include <atomic>
#include <condition_variable>

#include "platform/thread_safety.h"

namespace receiver {

class CFFmpegNetworkCancellation final {
public:
    void Cancel() EXCLUDES(mutex_) {
        cancelled_ = true;
        Wake();
    }
    bool IsCancelled() const { return cancelled_; }

    // Waits until `ended` or the deadline or, unless it is to be ignored, a cancellation;
    // tells `ended`, whose setter calls Wake afterwards.
    bool WaitUntil(const std::atomic<bool>& ended, SteadyTime deadline,
                   bool ignoreCancellation = false) EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        while (!ended && (ignoreCancellation || !cancelled_)) {
            if (!lock.WaitUntil(changed_, deadline)) break;
        }
        return ended;
    }
    void Wake() EXCLUDES(mutex_) {
        MutexLock lock(mutex_);  // a waiter is before its look at the flags or in its wait
        changed_.notify_all();
    }

private:
    std::atomic<bool> cancelled_{false};
    Mutex mutex_;
    std::condition_variable changed_;
};

}  // namespace receiver
