// Locks whose rules the compiler checks: clang with -Wthread-safety names every
// access to a GUARDED_BY member without its mutex; elsewhere the macros vanish.
//
// Waits are plain loops, because clang sees a predicate lambda as a function of
// its own that holds no lock:
//     MutexLock lock(mutex_);
//     while (!ready_) if (!lock.WaitUntil(changed_, deadline)) break;
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define RECEIVER_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define RECEIVER_THREAD_ATTRIBUTE(x)
#endif
#define GUARDED_BY(mutex) RECEIVER_THREAD_ATTRIBUTE(guarded_by(mutex))
#define REQUIRES(mutex) RECEIVER_THREAD_ATTRIBUTE(requires_capability(mutex))
#define EXCLUDES(mutex) RECEIVER_THREAD_ATTRIBUTE(locks_excluded(mutex))

namespace receiver {

using SteadyTime = std::chrono::steady_clock::time_point;

// The absolute end of a wait of at most `ms`; clamped, so that no value overflows.
inline SteadyTime DeadlineIn(unsigned long long ms) {
    constexpr unsigned long long kMaxMs = 10ULL * 365 * 24 * 3600 * 1000;
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(ms < kMaxMs ? ms : kMaxMs);
}

class RECEIVER_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
public:
    void lock() RECEIVER_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.lock(); }
    void unlock() RECEIVER_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }

private:
    friend class MutexLock;
    std::mutex mutex_;
};

class RECEIVER_THREAD_ATTRIBUTE(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) RECEIVER_THREAD_ATTRIBUTE(acquire_capability(mutex))
        : lock_(mutex.mutex_) {}
    ~MutexLock() RECEIVER_THREAD_ATTRIBUTE(release_capability()) = default;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void Unlock() RECEIVER_THREAD_ATTRIBUTE(release_capability()) { lock_.unlock(); }
    void Lock() RECEIVER_THREAD_ATTRIBUTE(acquire_capability()) { lock_.lock(); }

    void Wait(std::condition_variable& changed) { changed.wait(lock_); }
    // False once the deadline has passed; the caller looks at its condition again either way.
    bool WaitUntil(std::condition_variable& changed, SteadyTime deadline) {
        return changed.wait_until(lock_, deadline) == std::cv_status::no_timeout;
    }

private:
    std::unique_lock<std::mutex> lock_;
};

}  // namespace receiver
