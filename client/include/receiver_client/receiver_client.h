// The control connection of a program that drives a receiver: sends commands,
// waits for their replies, and hands out the session's events in order.
//
//   Threads  one thread at a time, but for RequestCancel, which any other may call meanwhile,
//            and for the cancellation, which may come from any thread and ends every wait at
//            once. While RecordProgram runs only these two may be used.
//   Signals  nothing here may be called in a signal handler; Cancellation::Cancel may.
//   Errors   a call that fails returns nothing or false and leaves the cause in
//            LastError(): each call can time out, be cancelled or find the
//            connection lost (kDisconnected) or the peer broken (kProtocol, which
//            closes the connection); commands can also be kRejected. The constructor throws
//            std::runtime_error when the system gives no event; of the rest only a lack of
//            memory throws (std::bad_alloc).
//   Moving   an object that was moved from may only be destroyed or assigned to. None may be
//            moved while another thread uses it.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "receiver_client/cancellation.h"
#include "receiver_client/error.h"
#include "receiver_client/export.h"
#include "receiver_client/messages.h"
#include "receiver_client/program_sink.h"

namespace receiver {

class RECEIVER_API ReceiverClient final {
public:
    using Milliseconds = std::chrono::milliseconds;

    explicit ReceiverClient(const Cancellation& cancellation);
    ~ReceiverClient();  // as Disconnect
    ReceiverClient(ReceiverClient&& other) noexcept;
    ReceiverClient& operator=(ReceiverClient&& other) noexcept;
    ReceiverClient(const ReceiverClient&) = delete;
    ReceiverClient& operator=(const ReceiverClient&) = delete;

    // Connects to a receiver's control pipe, waiting while it does not listen yet or
    // serves another client, and introduces itself. Events of an earlier connection
    // that were not fetched are dropped.
    std::optional<Welcome> Connect(const std::string& uri, Milliseconds timeout);
    // Connect to the same receiver again, keeping the events not yet fetched. A
    // connection that breaks before the welcome is tried again until the time-out: a
    // session with some hundred matches has a snapshot that no message can carry,
    // and the receiver answers again once that session is over.
    std::optional<Welcome> Reconnect(Milliseconds timeout);
    // The session goes on. Never fails.
    void Disconnect();
    bool IsConnected() const;
    // True as soon as the process behind the last connection has ended; false after the
    // time-out, and where the system does not tell.
    bool WaitForReceiverEnd(Milliseconds timeout) const;

    // Asks what the receiver is doing; may be repeated at any time.
    std::optional<Welcome> Hello(Milliseconds timeout);
    // Starts the receiver's one session; the events tell how it goes. What the receiver did not
    // understand of the request it has ignored: see MissingAdditions.
    std::optional<SessionSnapshot> Prepare(const PrepareRequest& request, Milliseconds timeout);
    // Asks the session to stop; its FINISHED event follows.
    std::optional<SessionSnapshot> Cancel(const std::string& sessionId, Milliseconds timeout);
    // Cancel from any thread, also while another waits in a call of this object: sends the
    // command and does not wait for the reply. The session ends by itself and its FINISHED
    // comes to whoever takes the events. Returns at once, or after a second when the receiver
    // takes nothing. Answers kNone, or why it could not be sent; either way the wish is kept
    // until the session's FINISHED is taken, and told again after PREPARE or a new connection.
    Error RequestCancel(const std::string& sessionId);
    // Ends the receiver; the connection is lost afterwards.
    bool Shutdown(Milliseconds timeout);

    // The next event; with a time-out of 0 only one that is already here. kRejected when the
    // receiver could not start the session that it had acknowledged: no event of it follows.
    std::optional<Event> NextEvent(Milliseconds timeout);
    // For event loops: NextEvent that never waits; kTimedOut when there is none.
    std::optional<Event> TryNextEvent() { return NextEvent(Milliseconds(0)); }
    // For event loops: a descriptor to poll for reading on Linux, an event HANDLE to wait for on
    // Windows; -1 without a connection. Take events with TryNextEvent until there are none, then
    // ask for the descriptor, wait for it, and begin again; do the same after every other call,
    // because what comes while a reply is awaited is kept. Its number may change with each call.
    // It stays the library's: never read or close it.
    std::intptr_t EventDescriptor();

    // One session from PREPARE to FINISHED: writes its audio to the sink, no further than the
    // programme's end, acknowledges it, and returns when the session is over. Reads the events
    // and the audio on two threads of its own, which have ended when it returns. Survives the
    // loss of the connection. RequestCancel, also one that came before, ends it cleanly; what
    // had come is kept. A receiver that does not know one of the request's additions is told to
    // cancel at once: kUnsupported. Up to 256 MiB wait for a slow sink, then it fails with kSystem.
    // Throws what the sink throws, and std::system_error when a thread cannot be started.
    ProgramResult RecordProgram(const PrepareRequest& request, const ProgramSink& sink);

    // Of the last call that failed, RequestCancel and RecordProgram aside. Valid until the next.
    const Error& LastError() const;

private:
    class Connection;
    std::unique_ptr<Connection> connection_;
};

}  // namespace receiver
