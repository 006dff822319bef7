#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "platform/clock.h"
#include "platform/unique_fd_posix.h"
#include "receiver_record/metrics/tcp_server.h"

namespace receiver {
namespace {

constexpr int kBacklog = 8;

int Fd(std::intptr_t socket) {
    return static_cast<int>(socket);
}

// Nothing for what may go on later; 0 for a failure.
std::optional<size_t> Moved(ssize_t count) {
    if (count >= 0) return static_cast<size_t>(count);
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return {};
    return 0;
}

struct AddressListCloser {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListCloser>;

AddressList AddressesOf(const std::string& host, uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (error != 0) {
        throw std::runtime_error(error == EAI_SYSTEM ? std::generic_category().message(errno)
                                                     : gai_strerror(error));
    }
    return AddressList(found);
}

// Invalid, with errno, where that cannot be listened on.
UniqueFd ListenOn(const addrinfo& address) {
    const int type = address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC;
    UniqueFd fd(socket(address.ai_family, type, address.ai_protocol));
    if (!fd.IsValid()) return fd;
    const int on = 1;
    setsockopt(fd.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(fd.Get(), address.ai_addr, address.ai_addrlen) != 0 ||
        listen(fd.Get(), kBacklog) != 0) {
        const int error = errno;
        fd.Reset();
        errno = error;
    }
    return fd;
}

uint16_t PortOf(int fd) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
    // Both kinds of address have it in the same place.
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

}  // namespace

void SocketTraits::Close(std::intptr_t socket) {
    close(Fd(socket));
}

// poll has no need of one.
void TcpServer::EventTraits::Close(std::intptr_t) {}

std::optional<size_t> TcpConnection::Receive(std::span<char> into) {
    return Moved(recv(Fd(socket_.Get()), into.data(), into.size(), 0));
}

std::optional<size_t> TcpConnection::Send(std::string_view bytes) {
    return Moved(send(Fd(socket_.Get()), bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

void TcpConnection::FinishSending() {
    shutdown(Fd(socket_.Get()), SHUT_WR);
}

TcpServer::TcpServer(const std::string& host, uint16_t port) {
    const AddressList addresses = AddressesOf(host, port);
    int error = EADDRNOTAVAIL;
    for (const addrinfo* at = addresses.get(); at != nullptr; at = at->ai_next) {
        UniqueFd fd = ListenOn(*at);
        if (!fd.IsValid()) {
            error = errno;
            continue;
        }
        listener_.Reset(fd.Release());
        port_ = PortOf(Fd(listener_.Get()));
        return;
    }
    throw std::runtime_error(std::generic_category().message(error));
}

TcpServer::Arrival TcpServer::Accept() {
    const int fd = accept4(Fd(listener_.Get()), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0) return {TcpConnection(UniqueSocket(fd)), false};
    const bool isGone = errno == ECONNABORTED || errno == EINTR || errno == EPROTO;
    return {std::nullopt, !isGone && errno != EAGAIN && errno != EWOULDBLOCK};
}

void TcpServer::Wait(const ManualResetEvent& stop, bool isAccepting,
                     std::span<const Interest> interests, uint64_t deadlineTickMs) {
    std::vector<pollfd> fds;
    fds.reserve(interests.size() + 2);
    fds.push_back({Fd(stop.Native()), POLLIN, 0});
    if (isAccepting) fds.push_back({Fd(listener_.Get()), POLLIN, 0});
    for (const Interest& interest : interests) {
        const short events = interest.isSending ? POLLOUT : POLLIN;
        fds.push_back({Fd(interest.connection->Native()), events, 0});
    }
    const uint64_t now = TickMs();
    const uint64_t remaining = deadlineTickMs > now ? deadlineTickMs - now : 0;
    poll(fds.data(), fds.size(), static_cast<int>(std::min<uint64_t>(remaining, INT_MAX)));
}

}  // namespace receiver
