#include "pipe/pcm_pipe.h"

#include <algorithm>
#include <new>
#include <optional>
#include <stdexcept>

#include "pipe/pcm_pipe_endpoint.h"
#include "pipe/pipe_uri.h"
#include "platform/clock.h"
#include "platform/error_codes.h"

namespace receiver {
namespace {

constexpr uint32_t kConnectRetryMs = 10;

std::shared_ptr<CPcmPipeCancellation> Require(std::shared_ptr<CPcmPipeCancellation> cancellation) {
    if (!cancellation) throw std::runtime_error("Could not initialize pipe I/O");
    return cancellation;
}

// Names and paths need memory, and the operations do not throw.
template <typename Operation>
uint32_t WithoutThrowing(Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return kErrorOutOfMemory;
    }
}

// Joins the pieces that `step(done, moved)` moves; the deadline covers all of them.
template <typename Step>
uint32_t TransferAll(const CPcmPipeCancellation& cancellation, size_t count,
                     uint64_t deadlineTickMs, size_t& transferred, Step step) {
    transferred = 0;
    while (transferred < count) {
        if (cancellation.IsCancelled()) return kErrorCancelled;
        if (TickMs() >= deadlineTickMs) return kErrorTimedOut;
        size_t moved = 0;
        const uint32_t error = step(transferred, moved);
        transferred += moved;
        if (error != kErrorNone) return error;
        if (moved == 0) return kErrorBrokenPipe;
    }
    return kErrorNone;
}

}  // namespace

CPcmPipe::CPcmPipe(std::shared_ptr<CPcmPipeCancellation> cancellation)
    : cancellation_(Require(std::move(cancellation))),
      endpoint_(CreatePcmPipeEndpoint(*cancellation_)) {}

CPcmPipe::~CPcmPipe() = default;

bool CPcmPipe::Listen(const std::string& uri) {
    return Finish(WithoutThrowing([&] {
        endpoint_->Close();
        const std::optional<std::string> name = PipeNameFromUri(uri);
        return name ? endpoint_->Listen(*name) : kErrorInvalidName;
    }));
}

bool CPcmPipe::Accept(uint32_t timeoutMs) {
    if (cancellation_->IsCancelled()) return Finish(kErrorCancelled);
    return Finish(WithoutThrowing([&] { return endpoint_->Accept(TickMs() + timeoutMs); }));
}

bool CPcmPipe::Connect(const std::string& uri, uint32_t timeoutMs) {
    return Finish(WithoutThrowing([&] { return ConnectWithRetry(uri, timeoutMs); }));
}

uint32_t CPcmPipe::ConnectWithRetry(const std::string& uri, uint32_t timeoutMs) {
    endpoint_->Close();
    const std::optional<std::string> name = PipeNameFromUri(uri);
    if (!name) return kErrorInvalidName;
    const uint64_t deadline = TickMs() + timeoutMs;
    if (cancellation_->IsCancelled()) return kErrorCancelled;
    while (true) {
        const uint32_t error = endpoint_->Connect(*name);
        // Absent or busy: the server is starting, or between two clients.
        if (error != kErrorFileNotFound && error != kErrorPipeBusy) return error;
        if (timeoutMs == 0) return error;
        const uint64_t now = TickMs();
        if (now >= deadline) return kErrorTimedOut;
        const auto step =
            static_cast<uint32_t>(std::min<uint64_t>(deadline - now, kConnectRetryMs));
        if (cancellation_->Event().Wait(step)) return kErrorCancelled;
    }
}

bool CPcmPipe::Read(void* buffer, size_t count, uint64_t deadlineTickMs, size_t* transferred) {
    size_t done = 0;
    const uint32_t error =
        TransferAll(*cancellation_, count, deadlineTickMs, done, [&](size_t offset, size_t& moved) {
            return endpoint_->ReadSome(static_cast<char*>(buffer) + offset, count - offset,
                                       deadlineTickMs, moved);
        });
    if (transferred != nullptr) *transferred = done;
    return Finish(error);
}

bool CPcmPipe::Write(const void* buffer, size_t count, uint64_t deadlineTickMs) {
    return Finish(WriteBeside(buffer, count, deadlineTickMs));
}

uint32_t CPcmPipe::WriteBeside(const void* buffer, size_t count, uint64_t deadlineTickMs) {
    size_t done = 0;
    return TransferAll(*cancellation_, count, deadlineTickMs, done,
                       [&](size_t offset, size_t& moved) {
                           return endpoint_->WriteSome(static_cast<const char*>(buffer) + offset,
                                                       count - offset, deadlineTickMs, moved);
                       });
}

bool CPcmPipe::Peek(size_t* available) {
    *available = 0;
    return Finish(WithoutThrowing([&] { return endpoint_->Peek(*available); }));
}

uint32_t CPcmPipe::ServerProcessId() const {
    return endpoint_->ServerProcessId();
}

std::intptr_t CPcmPipe::Readiness() {
    return endpoint_->Readiness();
}

bool CPcmPipe::WaitForNews(const WakeUpEvent& other, uint64_t deadlineTickMs) {
    if (cancellation_->IsCancelled()) return Finish(kErrorCancelled);
    return Finish(endpoint_->WaitForNews(other, deadlineTickMs));
}

void CPcmPipe::Close() {
    endpoint_->Close();
}

bool CPcmPipe::Finish(uint32_t error) {
    lastError_ = error;
    return error == kErrorNone;
}

}  // namespace receiver
