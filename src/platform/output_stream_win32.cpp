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

// The handle knows no overlapped writes: the thread that waits in one is called back.
class HandleStream final : public OutputStream {
public:
    explicit HandleStream(DWORD standard) : handle_(GetStdHandle(standard)) {}

    bool Write(const void* data, size_t size) override EXCLUDES(mutex_) {
        const char* at = static_cast<const char*>(data);
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
    void Stop() noexcept override EXCLUDES(mutex_) {
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

    const std::string& FailureText() const override { return failure_; }

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

}  // namespace

std::unique_ptr<OutputStream> OpenStandardOutput() {
    return std::make_unique<HandleStream>(STD_OUTPUT_HANDLE);
}

std::unique_ptr<OutputStream> OpenStandardError() {
    return std::make_unique<HandleStream>(STD_ERROR_HANDLE);
}

}  // namespace receiver
