#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <utility>

#include "pipe/local_socket_posix.h"
#include "pipe/pcm_pipe_endpoint.h"
#include "pipe/pipe_error_posix.h"
#include "platform/error_codes.h"
#include "platform/poll_posix.h"

namespace receiver {
namespace {

class SocketEndpoint final : public PcmPipeEndpoint {
public:
    explicit SocketEndpoint(const CPcmPipeCancellation& cancellation)
        : cancellation_(cancellation) {}

    uint32_t Listen(const std::string& name) override {
        server_.emplace();
        nextLookTickMs_ = TickMs() + kLookMs;
        const uint32_t error = server_->Open(EndpointDirectoryPath(), name);
        if (error != kErrorNone) {
            server_.reset();
        } else if (!std::exchange(hasSwept_, true)) {
            server_->SweepDirectory();
        }
        return error;
    }

    uint32_t Connect(const std::string& name) override {
        return ConnectToServer(EndpointDirectoryPath(), name, stream_);
    }

    uint32_t Accept(uint64_t deadlineTickMs) override {
        if (stream_.IsValid()) return kErrorNone;
        if (!server_) return kErrorGeneralFailure;
        while (!stream_.IsValid()) {
            const uint64_t stepEnd = std::min(deadlineTickMs, nextLookTickMs_);
            uint32_t error = WaitFor(server_->Fd(), POLLIN, stepEnd);
            if (error == kErrorNone) {
                error = server_->Accept(stream_);
            } else if (error == kErrorTimedOut) {
                error = LookAfterName();
                if (error == kErrorNone && TickMs() >= deadlineTickMs) error = kErrorTimedOut;
            }
            if (error != kErrorNone) return error;
        }
        return kErrorNone;
    }

    uint32_t ReadSome(void* buffer, size_t count, uint64_t deadlineTickMs, size_t& moved) override {
        return Transfer(POLLIN, deadlineTickMs, moved,
                        [&] { return recv(stream_.Get(), buffer, count, 0); });
    }

    uint32_t WriteSome(const void* buffer, size_t count, uint64_t deadlineTickMs,
                       size_t& moved) override {
        return Transfer(POLLOUT, deadlineTickMs, moved,
                        [&] { return send(stream_.Get(), buffer, count, MSG_NOSIGNAL); });
    }

    uint32_t Peek(size_t& available) override {
        LookAfterName();  // a client that has us already needs no name: without it we go on
        char byte = 0;
        ssize_t peeked = 0;
        do {
            peeked = recv(stream_.Get(), &byte, 1, MSG_PEEK);
        } while (peeked < 0 && errno == EINTR);
        if (peeked == 0) return kErrorBrokenPipe;
        if (peeked < 0 && errno == EAGAIN) return kErrorNone;
        if (peeked < 0) return TranslatePipeError(PipeOperation::kTransfer, errno);
        int readable = 0;
        if (ioctl(stream_.Get(), FIONREAD, &readable) != 0) {
            return TranslatePipeError(PipeOperation::kTransfer, errno);
        }
        available = static_cast<size_t>(readable);
        return kErrorNone;
    }

    uint32_t ServerProcessId() const override {
        ucred server{};
        socklen_t size = sizeof server;
        if (getsockopt(stream_.Get(), SOL_SOCKET, SO_PEERCRED, &server, &size) != 0) return 0;
        return static_cast<uint32_t>(server.pid);
    }

    std::intptr_t Readiness() override { return stream_.Get(); }

    // Ends also when it is time to look after the name, which is for Accept and Peek to do.
    uint32_t WaitForNews(const WakeUpEvent& other, uint64_t deadlineTickMs) override {
        const int fd = stream_.IsValid() ? stream_.Get() : server_ ? server_->Fd() : -1;
        const uint64_t look = server_ ? nextLookTickMs_ : UINT64_MAX;
        std::array<pollfd, 3> fds{
            {CancellationFd(), {fd, POLLIN, 0}, {static_cast<int>(other.Native()), POLLIN, 0}}};
        const uint32_t error = WaitFor(fds, std::min(deadlineTickMs, look));
        return error == kErrorTimedOut && look <= deadlineTickMs ? kErrorNone : error;
    }

    void Close() override {
        stream_.Reset();
        server_.reset();
    }

private:
    static constexpr uint64_t kLookMs = 1000;

    // Now and then, that others have left our name in the directory. 5 when another server
    // has it by now; what else keeps it from coming back (a full disk, no descriptors) may pass.
    uint32_t LookAfterName() {
        if (!server_ || TickMs() < nextLookTickMs_) return kErrorNone;
        nextLookTickMs_ = TickMs() + kLookMs;
        const uint32_t error = server_->Restore();
        return error == kErrorAccessDenied ? error : kErrorNone;
    }

    pollfd CancellationFd() const {
        return {static_cast<int>(cancellation_.Event().Native()), POLLIN, 0};
    }

    uint32_t WaitFor(int fd, short events, uint64_t deadlineTickMs) const {
        std::array<pollfd, 2> fds{{CancellationFd(), {fd, events, 0}}};
        return WaitFor(fds, deadlineTickMs);
    }

    // The cancellation is the first of them.
    template <size_t kCount>
    static uint32_t WaitFor(std::array<pollfd, kCount>& fds, uint64_t deadlineTickMs) {
        const int ready = PollUntil(fds, deadlineTickMs);
        if (ready < 0) return TranslatePipeError(PipeOperation::kTransfer, errno);
        if (fds[0].revents != 0) return kErrorCancelled;
        return ready == 0 ? kErrorTimedOut : kErrorNone;
    }

    // One successful call of the system, waited for where it cannot be done at once.
    template <typename Call>
    uint32_t Transfer(short events, uint64_t deadlineTickMs, size_t& moved, Call call) const {
        moved = 0;
        while (true) {
            const ssize_t result = call();
            if (result >= 0) {
                moved = static_cast<size_t>(result);
                return kErrorNone;
            }
            if (errno == EINTR) continue;
            if (errno != EAGAIN) return TranslatePipeError(PipeOperation::kTransfer, errno);
            if (const uint32_t error = WaitFor(stream_.Get(), events, deadlineTickMs)) return error;
        }
    }

    const CPcmPipeCancellation& cancellation_;
    std::optional<ServerSocket> server_;  // holds the name while the endpoint is open
    UniqueFd stream_;                     // valid while connected
    uint64_t nextLookTickMs_ = 0;
    bool hasSwept_ = false;
};

}  // namespace

std::unique_ptr<PcmPipeEndpoint> CreatePcmPipeEndpoint(const CPcmPipeCancellation& cancellation) {
    return std::make_unique<SocketEndpoint>(cancellation);
}

}  // namespace receiver
