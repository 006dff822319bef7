// A receiver of one's own: starts the program and waits until it listens. It ends with
// this process, however that ends: asked to by SIGTERM on Linux, at once on Windows.
//
//   Threads  one thread at a time.
//   Errors   by result, the cause in LastError(): kSystem with the receiver's own
//            message when it cannot be started or ends, kTimedOut, kCancelled.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "receiver_client/cancellation.h"
#include "receiver_client/error.h"

namespace receiver {

class ReceiverProcess final {
public:
    using Milliseconds = std::chrono::milliseconds;

    explicit ReceiverProcess(const Cancellation& cancellation);
    ~ReceiverProcess();  // kills a receiver that still runs; see ReceiverClient::Shutdown
    ReceiverProcess(const ReceiverProcess&) = delete;
    ReceiverProcess& operator=(const ReceiverProcess&) = delete;

    // Starts `program` with a control pipe of a new name and returns once it listens.
    // The receiver logs to files beside and named after `logPath`. Once only.
    bool Start(const std::string& program, const std::string& logPath, Milliseconds timeout);
    // Goes on waiting where Start has timed out.
    bool AwaitListening(Milliseconds timeout);
    // Where ReceiverClient::Connect finds it; valid after Start.
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
