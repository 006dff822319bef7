#include <algorithm>
#include <stdexcept>

#include "pipe/pcm_pipe_endpoint.h"
#include "pipe/pipe_uri.h"
#include "platform/error_codes.h"
#include "platform/unique_handle_win32.h"
#include "platform/wait_win32.h"

namespace receiver {
namespace {

constexpr DWORD kInstances = 1;
constexpr DWORD kOutputBytes = 65536;
constexpr DWORD kInputBytes = 4096;

class NamedPipeEndpoint final : public PcmPipeEndpoint {
public:
    explicit NamedPipeEndpoint(const CPcmPipeCancellation& cancellation)
        : cancellation_(cancellation), ioEvent_(NewEvent()), writeEvent_(NewEvent()) {
        if (!ioEvent_.IsValid() || !writeEvent_.IsValid()) {
            throw std::runtime_error("Could not initialize pipe I/O");
        }
    }

    ~NamedPipeEndpoint() override { EndReadAhead(); }

    NamedPipeEndpoint(const NamedPipeEndpoint&) = delete;
    NamedPipeEndpoint& operator=(const NamedPipeEndpoint&) = delete;

    uint32_t Listen(const std::string& name) override {
        // The first-instance flag makes a second server on the name fail.
        hasPeer_ = false;
        pipe_ = OwnHandle(CreateNamedPipeA(
            PipePathOfName(name).c_str(),
            PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
            PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
            kInstances, kOutputBytes, kInputBytes, 0, nullptr));
        return pipe_.IsValid() ? kErrorNone : GetLastError();
    }

    uint32_t Connect(const std::string& name) override {
        pipe_ = OwnHandle(CreateFileA(PipePathOfName(name).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
        hasPeer_ = pipe_.IsValid();
        return pipe_.IsValid() ? kErrorNone : GetLastError();
    }

    uint32_t Accept(uint64_t deadlineTickMs) override {
        const uint32_t error = AwaitClient(deadlineTickMs);
        hasPeer_ = error == kErrorNone;
        return error;
    }

    uint32_t ReadSome(void* buffer, size_t count, uint64_t deadlineTickMs, size_t& moved) override {
        if (readsAhead_) return TakeReadAhead(buffer, deadlineTickMs, moved);
        return Transfer(ioEvent_, deadlineTickMs, moved, [&](OVERLAPPED& overlapped) {
            return ReadFile(pipe_.Get(), buffer, Bounded(count), nullptr, &overlapped);
        });
    }

    uint32_t WriteSome(const void* buffer, size_t count, uint64_t deadlineTickMs,
                       size_t& moved) override {
        return Transfer(writeEvent_, deadlineTickMs, moved, [&](OVERLAPPED& overlapped) {
            return WriteFile(pipe_.Get(), buffer, Bounded(count), nullptr, &overlapped);
        });
    }

    uint32_t Peek(size_t& available) override {
        size_t ahead = 0;
        if (readsAhead_ && IsSet(aheadEvent_)) {
            if (const uint32_t error = Result(ahead_, ahead)) return error;
        }
        DWORD readable = 0;
        // The byte read ahead is the reader's also when the peer has gone since.
        if (!PeekNamedPipe(pipe_.Get(), nullptr, 0, nullptr, &readable, nullptr) && ahead == 0) {
            return GetLastError();
        }
        available = ahead + readable;
        return kErrorNone;
    }

    uint32_t ServerProcessId() const override {
        ULONG id = 0;
        return GetNamedPipeServerProcessId(pipe_.Get(), &id) ? id : 0;
    }

    // A pipe is no object to wait for: a read of one byte under way stands for it.
    std::intptr_t Readiness() override {
        if (!pipe_.IsValid()) return -1;
        if (!aheadEvent_.IsValid()) aheadEvent_ = NewEvent();
        if (!aheadEvent_.IsValid()) return -1;
        if (!readsAhead_) {
            ahead_ = NewOperation(aheadEvent_);
            readsAhead_ = true;
            // Also a read that fails at once is for the next ReadSome to find.
            if (!ReadFile(pipe_.Get(), &aheadByte_, 1, nullptr, &ahead_) &&
                GetLastError() != ERROR_IO_PENDING) {
                readsAhead_ = false;
                SetEvent(aheadEvent_.Get());
            }
        }
        return reinterpret_cast<std::intptr_t>(aheadEvent_.Get());
    }

    // What the system refuses is news, too: Accept or Peek tells what it is.
    uint32_t WaitForNews(const WakeUpEvent& other, uint64_t deadlineTickMs) override {
        OVERLAPPED overlapped = NewOperation(ioEvent_);
        // A read of nothing ends when there is something to read, or nobody left to write it.
        char nothing = 0;
        const BOOL done = hasPeer_ ? ReadFile(pipe_.Get(), &nothing, 0, nullptr, &overlapped)
                                   : ConnectNamedPipe(pipe_.Get(), &overlapped);
        if (done || GetLastError() != ERROR_IO_PENDING) return kErrorNone;

        const HANDLE handles[] = {CancellationHandle(), ioEvent_.Get(),
                                  reinterpret_cast<HANDLE>(other.Native())};
        const DWORD signalled =
            WaitForMultipleObjects(3, handles, FALSE, RemainingMs(deadlineTickMs));
        const uint32_t error = ErrorOfWait(signalled);
        DWORD bytes = 0;
        CancelIoEx(pipe_.Get(), &overlapped);
        // A client that comes meanwhile stays connected: the next Accept takes it.
        GetOverlappedResult(pipe_.Get(), &overlapped, &bytes, TRUE);
        return error;
    }

    void Close() override {
        EndReadAhead();
        hasPeer_ = false;
        pipe_.Reset();
    }

private:
    static DWORD Bounded(size_t count) {
        return static_cast<DWORD>(std::min<size_t>(count, 0x40000000));
    }

    static UniqueHandle NewEvent() {
        return OwnHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    }

    static bool IsSet(const UniqueHandle& event) {
        return WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0;
    }

    static OVERLAPPED NewOperation(const UniqueHandle& event) {
        OVERLAPPED overlapped{};
        overlapped.hEvent = event.Get();
        ResetEvent(event.Get());
        return overlapped;
    }

    HANDLE CancellationHandle() const {
        return reinterpret_cast<HANDLE>(cancellation_.Event().Native());
    }

    // Of a wait whose first handle is the cancellation's.
    static uint32_t ErrorOfWait(DWORD signalled) {
        if (signalled == WAIT_OBJECT_0) return kErrorCancelled;
        if (signalled == WAIT_TIMEOUT) return kErrorTimedOut;
        return signalled == WAIT_FAILED ? GetLastError() : kErrorNone;
    }

    uint32_t AwaitClient(uint64_t deadlineTickMs) const {
        OVERLAPPED overlapped = NewOperation(ioEvent_);
        if (ConnectNamedPipe(pipe_.Get(), &overlapped)) return kErrorNone;
        const DWORD error = GetLastError();
        if (error == ERROR_PIPE_CONNECTED) return kErrorNone;  // the client came first
        if (error != ERROR_IO_PENDING) return error;
        size_t moved = 0;
        return WaitFor(overlapped, ioEvent_, deadlineTickMs, moved);
    }

    // Takes the byte that was read ahead; a wait that ends without it leaves the read under way.
    uint32_t TakeReadAhead(void* buffer, uint64_t deadlineTickMs, size_t& moved) {
        moved = 0;
        const uint32_t waited = ErrorOfWait(WaitForEither(aheadEvent_, deadlineTickMs));
        if (waited != kErrorNone) return waited;
        readsAhead_ = false;
        const uint32_t error = Result(ahead_, moved);
        if (moved > 0) *static_cast<char*>(buffer) = aheadByte_;
        return error;
    }

    void EndReadAhead() {
        if (!readsAhead_) return;
        readsAhead_ = false;
        DWORD bytes = 0;
        CancelIoEx(pipe_.Get(), &ahead_);
        GetOverlappedResult(pipe_.Get(), &ahead_, &bytes, TRUE);
    }

    DWORD WaitForEither(const UniqueHandle& event, uint64_t deadlineTickMs) const {
        const HANDLE handles[] = {CancellationHandle(), event.Get()};
        return WaitForMultipleObjects(2, handles, FALSE, RemainingMs(deadlineTickMs));
    }

    template <typename Start>
    uint32_t Transfer(const UniqueHandle& event, uint64_t deadlineTickMs, size_t& moved,
                      Start start) const {
        moved = 0;
        OVERLAPPED overlapped = NewOperation(event);
        if (start(overlapped)) return Result(overlapped, moved);
        const DWORD error = GetLastError();
        if (error != ERROR_IO_PENDING) return error;
        return WaitFor(overlapped, event, deadlineTickMs, moved);
    }

    uint32_t Result(OVERLAPPED& overlapped, size_t& moved) const {
        DWORD bytes = 0;
        if (!GetOverlappedResult(pipe_.Get(), &overlapped, &bytes, FALSE)) return GetLastError();
        moved = bytes;
        return kErrorNone;
    }

    // Nothing is outstanding when it returns: the system no longer uses the caller's buffer.
    uint32_t WaitFor(OVERLAPPED& overlapped, const UniqueHandle& event, uint64_t deadlineTickMs,
                     size_t& moved) const {
        const uint32_t error = ErrorOfWait(WaitForEither(event, deadlineTickMs));
        if (error == kErrorNone) return Result(overlapped, moved);
        DWORD bytes = 0;
        CancelIoEx(pipe_.Get(), &overlapped);
        // What came between the end of the wait and the cancelling is off the pipe.
        if (GetOverlappedResult(pipe_.Get(), &overlapped, &bytes, TRUE)) moved = bytes;
        return error;
    }

    const CPcmPipeCancellation& cancellation_;
    UniqueHandle pipe_;  // valid while open
    bool hasPeer_ = false;
    UniqueHandle ioEvent_;  // of the one operation under way that is no write
    UniqueHandle writeEvent_;
    UniqueHandle aheadEvent_;  // of the read ahead, from the first Readiness on
    OVERLAPPED ahead_{};       // the system's while readsAhead_
    char aheadByte_ = 0;
    bool readsAhead_ = false;
};

}  // namespace

std::unique_ptr<PcmPipeEndpoint> CreatePcmPipeEndpoint(const CPcmPipeCancellation& cancellation) {
    return std::make_unique<NamedPipeEndpoint>(cancellation);
}

}  // namespace receiver
