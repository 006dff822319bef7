#include "platform/output_stream.h"

#include <algorithm>
#include <condition_variable>
#include <system_error>

#include "platform/thread_safety.h"
#include "platform/unique_handle_win32.h"

namespace receiver {
namespace {

UniqueHandle ThisThread() {
    HANDLE copy = nullptr;
    const HANDLE self = GetCurrentProcess();
    DuplicateHandle(self, GetCurrentThread(), self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return OwnHandle(copy);
}

}  // namespace

// The handle knows no overlapped writes: the thread that waits in one is called back.
class OutputStream::Stream {
public:
    explicit Stream(DWORD standard) : handle_(GetStdHandle(standard)) {}

    bool Write(const char* at, size_t size) EXCLUDES(mutex_) {
        while (size > 0) {
            if (!Begin()) return false;
            DWORD written = 0;
            const auto piece = static_cast<DWORD>(std::min<size_t>(size, 1U << 20));
            const bool isWritten = WriteFile(handle_, at, piece, &written, nullptr) != FALSE;
            const DWORD error = GetLastError();
            End();
            if (!isWritten && error == ERROR_OPERATION_ABORTED) continue;
            if (!isWritten || written == 0) {
                failure_ = std::system_category().message(static_cast<int>(error));
                return false;
            }
            at += written;
            size -= written;
        }
        return true;
    }

    // The writer may be on its way into the call, where nothing can be cancelled yet.
    void Stop() noexcept EXCLUDES(mutex_) {
        constexpr unsigned kStepMs = 10;
        constexpr unsigned kMaxMs = 2000;
        const SteadyTime deadline = DeadlineIn(kMaxMs);
        MutexLock lock(mutex_);
        isStopped_ = true;
        while (isWriting_ && std::chrono::steady_clock::now() < deadline) {
            CancelSynchronousIo(writer_.Get());
            lock.WaitUntil(idle_, DeadlineIn(kStepMs));
        }
    }

    const std::string& FailureText() const { return failure_; }

private:
    bool Begin() EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        if (isStopped_) {
            failure_ = "Its reader has taken nothing for too long";
            return false;
        }
        if (!writer_.IsValid()) writer_ = ThisThread();
        isWriting_ = true;
        return true;
    }
    void End() EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        isWriting_ = false;
        idle_.notify_all();
    }

    const HANDLE handle_;
    std::string failure_;  // the writer's

    Mutex mutex_;
    std::condition_variable idle_;
    UniqueHandle writer_ GUARDED_BY(mutex_);  // the writing thread
    bool isWriting_ GUARDED_BY(mutex_) = false;
    bool isStopped_ GUARDED_BY(mutex_) = false;
};

OutputStream::OutputStream(Which which)
    : stream_(std::make_unique<Stream>(which == Which::kOutput ? STD_OUTPUT_HANDLE
                                                               : STD_ERROR_HANDLE)) {}

OutputStream::~OutputStream() = default;

bool OutputStream::Write(const void* data, size_t size) {
    return stream_->Write(static_cast<const char*>(data), size);
}

void OutputStream::Stop() noexcept {
    stream_->Stop();
}

const std::string& OutputStream::FailureText() const {
    return stream_->FailureText();
}

}  // namespace receiver
