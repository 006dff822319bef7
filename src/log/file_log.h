// A buffered log file of limited size: a file that would grow past its limit is
// closed and continued in a new one, each named with the time of its opening.
//
//   Units    bytes.
//   Threads  any: every operation takes the object's own lock, so lines never mix.
//   Errors   IsOpen tells whether construction could open the file; write errors
//            lose the line silently, since a log must not stop a broadcast.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "log/store_log.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/thread_safety.h"

namespace receiver {

// `path` with "_YYYYMMDD_HHMMSS" before its extension (a "." after the last path
// separator, either kind), or at its end when it has none.
std::string TimeStampedLogName(const std::string& path, const LocalTime& time);

class CFileLog final : public IStoreLog {
public:
    // sizeLimit 0: one file without limit, named `path` itself.
    CFileLog(const std::string& path, uint64_t sizeLimit, int32_t bufferSize);

    bool IsOpen() const EXCLUDES(mutex_);
    void Flush() override EXCLUDES(mutex_);
    int32_t Write(std::string_view line) override EXCLUDES(mutex_);
    void SetBufferSize(int32_t bytes) override EXCLUDES(mutex_);

private:
    void FlushLocked() REQUIRES(mutex_);
    void RollOver() REQUIRES(mutex_);
    void WriteBufferedBytes() REQUIRES(mutex_);
    size_t WriteToFile(std::string_view bytes) REQUIRES(mutex_);  // the bytes that reached it
    bool FitsBuffer(size_t bytes) const REQUIRES(mutex_);         // the last place stays free
    void ReserveBuffer() REQUIRES(mutex_);

    const std::string path_;

    mutable Mutex mutex_;
    AppendFile file_ GUARDED_BY(mutex_);
    std::vector<char> buffer_ GUARDED_BY(mutex_);  // the pending bytes
    int32_t bufferSize_ GUARDED_BY(mutex_);
    uint64_t sizeLimit_ GUARDED_BY(mutex_);
    uint64_t fileSize_ GUARDED_BY(mutex_) = 0;  // of the current file, without the buffer
};

}  // namespace receiver
