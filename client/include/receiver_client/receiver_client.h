// The control connection of a program that drives a receiver: sends commands,
// waits for their replies, and hands out the session's events in order.
//
//   Threads  one thread at a time; the cancellation may come from any thread and
//            ends every wait at once.
//   Errors   a call that fails returns nothing or false and leaves the cause in
//            LastError(): each call can time out, be cancelled or find the
//            connection lost (kDisconnected) or the peer broken (kProtocol, which
//            closes the connection); commands can also be kRejected.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "receiver_client/cancellation.h"
#include "receiver_client/error.h"
#include "receiver_client/messages.h"

namespace receiver {

class ReceiverClient final {
public:
    using Milliseconds = std::chrono::milliseconds;

    explicit ReceiverClient(const Cancellation& cancellation);
    ~ReceiverClient();
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
    void Disconnect();
    bool IsConnected() const;
    // True as soon as the process behind the last connection has ended; false after the
    // time-out, and where the system does not tell.
    bool WaitForReceiverEnd(Milliseconds timeout) const;

    // Asks what the receiver is doing; may be repeated at any time.
    std::optional<Welcome> Hello(Milliseconds timeout);
    // Starts the receiver's one session; the events tell how it goes.
    std::optional<SessionSnapshot> Prepare(const PrepareRequest& request, Milliseconds timeout);
    // Asks the session to stop; its FINISHED event follows.
    std::optional<SessionSnapshot> Cancel(const std::string& sessionId, Milliseconds timeout);
    // Ends the receiver; the connection is lost afterwards.
    bool Shutdown(Milliseconds timeout);

    // The next event; with a time-out of 0 only one that is already here. kRejected when the
    // receiver could not start the session that it had acknowledged: no event of it follows.
    std::optional<Event> NextEvent(Milliseconds timeout);

    const Error& LastError() const;

private:
    class Connection;
    std::unique_ptr<Connection> connection_;
};

}  // namespace receiver
