// One end of a local pipe: the server end of the control and audio pipes, and
// the client end for controlling programs. Every wait is bounded by a deadline
// and ends at once when the shared cancellation is signalled.
//
//   Units    deadlines are TickMs() values (platform/clock.h), time-outs ms.
//   Threads  one thread at a time uses an endpoint, and one more may call WriteBeside
//            meanwhile, though not while the endpoint is opened or closed. The cancellation
//            may come from any thread and is final: every later Accept, Connect, Read, Write
//            and WaitForNews fails with 995. Listen and Peek do not wait and do not look at it.
//   Errors   the constructor throws std::runtime_error "Could not initialize pipe
//            I/O" (also for an empty share); everything else answers false and
//            leaves the cause in LastError(): 995 cancelled, 1460 deadline passed,
//            109 the peer closed its end, 123 bad URI, 5 the name is taken or the
//            endpoint is not ours to use, else the system's code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "pipe/pcm_pipe_cancellation.h"
#include "platform/wake_up_event.h"

namespace receiver {

class PcmPipeEndpoint;

class CPcmPipe final {
public:
    explicit CPcmPipe(std::shared_ptr<CPcmPipeCancellation> cancellation);
    ~CPcmPipe();
    CPcmPipe(const CPcmPipe&) = delete;
    CPcmPipe& operator=(const CPcmPipe&) = delete;

    // Server: creates the endpoint under the URI's name, closing what was open.
    bool Listen(const std::string& uri);
    // Server: waits for a client; one that came before the call is taken at once.
    bool Accept(uint32_t timeoutMs);
    // Client: opens the server's endpoint, trying again while it does not exist
    // or is busy, until the time-out; a time-out of 0 tries once.
    bool Connect(const std::string& uri, uint32_t timeoutMs);

    // Exactly `count` bytes or false. `transferred` (may be null) is set in every case: after
    // a failure it tells how many bytes are in the buffer, and a reader goes on behind them.
    bool Read(void* buffer, size_t count, uint64_t deadlineTickMs, size_t* transferred = nullptr);
    bool Write(const void* buffer, size_t count, uint64_t deadlineTickMs);
    // As Write, but answers with the code (0: written) and leaves LastError to the other thread.
    uint32_t WriteBeside(const void* buffer, size_t count, uint64_t deadlineTickMs);
    // Bytes that can be read now. Fails with 109 once the peer is gone and all is read.
    bool Peek(size_t* available);
    // Client: the process that serves this connection; 0 without one, or when the system does
    // not tell.
    uint32_t ServerProcessId() const;
    // For an event loop around a connected client's end: a descriptor on Linux, an event HANDLE
    // on Windows, readable (signalled) while something can be read or the peer is gone. Valid
    // until the endpoint is closed, and to be asked for again after every read; the endpoint's
    // own. -1 when there is no connection, or the system refuses.
    std::intptr_t Readiness();
    // Waits, open as it is, for what Accept or Peek would find: a client, bytes, the peer's end;
    // or until `other` is signalled. True also now and then without either: whoever waits asks
    // both each time. Takes nothing off the pipe.
    bool WaitForNews(const WakeUpEvent& other, uint64_t deadlineTickMs);
    void Close();

    uint32_t LastError() const { return lastError_; }
    const CPcmPipeCancellation& Cancellation() const { return *cancellation_; }

private:
    bool Finish(uint32_t error);  // keeps it as LastError; true for 0
    uint32_t ConnectWithRetry(const std::string& uri, uint32_t timeoutMs);

    const std::shared_ptr<CPcmPipeCancellation> cancellation_;
    const std::unique_ptr<PcmPipeEndpoint> endpoint_;
    uint32_t lastError_ = 0;
};

}  // namespace receiver
