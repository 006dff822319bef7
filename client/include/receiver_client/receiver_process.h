// A receiver of one's own: starts the program and waits until it listens. It ends with
// this process, however that ends: asked to by SIGTERM on Linux, at once on Windows.
//
//   Threads  one thread at a time; the cancellation may come from any thread. Not for signal
//            handlers.
//   Errors   by result, the cause in LastError(): kSystem with the receiver's own
//            message when it cannot be started or ends, kTimedOut, kCancelled, kProtocol when
//            the program is no receiver. Of all calls only a lack of memory throws
//            (std::bad_alloc).
//   Moving   an object that was moved from may only be destroyed or assigned to.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "receiver_client/cancellation.h"
#include "receiver_client/error.h"
#include "receiver_client/export.h"

namespace receiver {

class RECEIVER_API ReceiverProcess final {
public:
    using Milliseconds = std::chrono::milliseconds;

    explicit ReceiverProcess(const Cancellation& cancellation);
    // A receiver that still runs is asked to end (after ReceiverClient::Shutdown it does
    // already), waited for up to 5 seconds, and killed only then.
    ~ReceiverProcess();
    ReceiverProcess(ReceiverProcess&& other) noexcept;
    ReceiverProcess& operator=(ReceiverProcess&& other) noexcept;
    ReceiverProcess(const ReceiverProcess&) = delete;
    ReceiverProcess& operator=(const ReceiverProcess&) = delete;

    // Starts `program` with a control pipe of a new name and returns once it listens.
    // The receiver logs to files beside and named after `logPath`. Once only.
    bool Start(const std::string& program, const std::string& logPath, Milliseconds timeout);
    // Goes on waiting where Start has timed out.
    bool AwaitListening(Milliseconds timeout);
    // Where ReceiverClient::Connect finds it; valid after Start, as all below.
    const std::string& ControlUri() const;
    uint32_t ProcessId() const;
    // Nothing while it still runs.
    std::optional<int> WaitForExit(Milliseconds timeout);
    // Asks a receiver that does not answer SHUTDOWN to end: SIGTERM, on Windows Ctrl+Break.
    // Nothing happens to one that has not been started.
    void Terminate();
    bool IsRunning();

    const Error& LastError() const;

private:
    class Process;
    std::unique_ptr<Process> process_;
};

}  // namespace receiver
