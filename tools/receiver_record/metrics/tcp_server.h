// The sockets of a server that nobody may hold up: no call waits but TcpServer::Wait, which also
// ends with an event. A pair of files; a platform has to provide every method of both classes.
//
//   Units    deadlines are TickMs() values.
//   Threads  one at a time.
//   Errors   by result, the constructor throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/manual_reset_event.h"
#include "platform/unique_resource.h"

namespace receiver {

struct SocketTraits {
    using Type = std::intptr_t;
    static Type Invalid() { return -1; }  // also INVALID_SOCKET
    static void Close(Type socket);
};
using UniqueSocket = UniqueResource<SocketTraits>;

class TcpConnection final {
public:
    explicit TcpConnection(UniqueSocket socket) : socket_(std::move(socket)) {}

    // How many bytes were moved: nothing where there are none, or no room for them, now; 0 when
    // the connection has ended, by its peer or by a failure.
    std::optional<size_t> Receive(std::span<char> into);
    std::optional<size_t> Send(std::string_view bytes);
    void FinishSending();  // the peer reads the end after what was sent
    std::intptr_t Native() const { return socket_.Get(); }

private:
    UniqueSocket socket_;
};

class TcpServer final {
public:
    struct Arrival {
        std::optional<TcpConnection> connection;
        bool isRefused = false;  // by the system, which lacks something: not to be tried at once
    };
    // What is waited for on a connection, which is constant meanwhile.
    struct Interest {
        const TcpConnection* connection = nullptr;
        bool isSending = false;
    };

    // Listens from then on, and is inherited by no child. Port 0 is one that the system chooses.
    // Throws std::runtime_error with the system's reason.
    TcpServer(const std::string& host, uint16_t port);

    uint16_t Port() const { return port_; }
    Arrival Accept();
    // Until the event is signalled, a connection can go on, one arrives where `isAccepting`, or
    // the deadline has come; possibly without any of these. Every connection is then tried until
    // it has nothing more.
    void Wait(const ManualResetEvent& stop, bool isAccepting, std::span<const Interest> interests,
              uint64_t deadlineTickMs);

private:
    // Where a wait is for an object of its own.
    struct EventTraits {
        using Type = std::intptr_t;
        static Type Invalid() { return 0; }
        static void Close(Type event);
    };

    UniqueResource<EventTraits> ready_;
    UniqueSocket listener_;
    uint16_t port_ = 0;
};

}  // namespace receiver
