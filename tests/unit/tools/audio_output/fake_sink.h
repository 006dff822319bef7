// A recording's output in memory, with the faults of real ones.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <limits>
#include <string>

#include "audio_output/recording_sink.h"
#include "platform/thread_safety.h"
#include "testing/patience.h"

namespace receiver {

class FakeSink final : public RecordingSink {
public:
    bool CanSeek() const override { return seekable_; }
    bool WriteAt(uint64_t offset, const void* data, size_t size) override EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        ++blocked_;
        changed_.notify_all();
        const SteadyTime deadline = DeadlineIn(kMaxHoldMs);
        while (held_) {
            if (!lock.WaitUntil(changed_, deadline)) GiveUp("nobody releases the sink", kMaxHoldMs);
        }
        --blocked_;
        const uint64_t room = offset < capacity_ ? capacity_ - offset : 0;
        const size_t taken = static_cast<size_t>(std::min<uint64_t>(room, size));
        Store(offset, data, taken);
        return taken == size;
    }
    bool Truncate(uint64_t size) override EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        bytes_.resize(static_cast<size_t>(std::min<uint64_t>(size, kept_)));
        size_ = size;
        return true;
    }
    std::string FailureText() const override { return "No space left"; }

    // Before use.
    void SetSeekable(bool seekable) { seekable_ = seekable; }
    void SetCapacity(uint64_t bytes) { capacity_ = bytes; }  // a disk that becomes full
    void KeepOnly(uint64_t bytes) { kept_ = bytes; }         // what lies behind is only counted

    void Hold() EXCLUDES(mutex_) { SetHeld(true); }
    void Release() EXCLUDES(mutex_) { SetHeld(false); }
    // True once a write waits at the gate.
    bool WaitUntilBlocked(uint64_t ms) EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        const SteadyTime deadline = DeadlineIn(ms);
        while (blocked_ == 0 || !held_) {
            if (!lock.WaitUntil(changed_, deadline)) return blocked_ > 0 && held_;
        }
        return true;
    }
    // True once so many bytes are there.
    bool WaitForSize(uint64_t bytes, uint64_t ms) EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        const SteadyTime deadline = DeadlineIn(ms);
        while (size_ < bytes) {
            if (!lock.WaitUntil(changed_, deadline)) return size_ >= bytes;
        }
        return true;
    }
    std::string Bytes() EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return bytes_;
    }
    uint64_t Size() EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return size_;
    }

private:
    void SetHeld(bool held) EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        held_ = held;
        changed_.notify_all();
    }
    void Store(uint64_t offset, const void* data, size_t size) REQUIRES(mutex_) {
        size_ = std::max(size_, offset + size);
        changed_.notify_all();
        const uint64_t end = std::min(offset + size, kept_);
        if (end <= offset) return;
        if (bytes_.size() < end) bytes_.resize(static_cast<size_t>(end));
        std::memcpy(bytes_.data() + offset, data, static_cast<size_t>(end - offset));
    }

    bool seekable_ = true;
    uint64_t capacity_ = std::numeric_limits<uint64_t>::max();
    uint64_t kept_ = std::numeric_limits<uint64_t>::max();

    Mutex mutex_;
    std::condition_variable changed_;
    std::string bytes_ GUARDED_BY(mutex_);
    uint64_t size_ GUARDED_BY(mutex_) = 0;
    bool held_ GUARDED_BY(mutex_) = false;
    int blocked_ GUARDED_BY(mutex_) = 0;
};

}  // namespace receiver
