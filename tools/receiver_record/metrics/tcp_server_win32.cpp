#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "platform/clock.h"
#include "platform/wait_win32.h"
#include "receiver_record/metrics/tcp_server.h"

namespace receiver {
namespace {

constexpr int kBacklog = 8;
constexpr uint64_t kLookMs = 1000;
constexpr long kAllEvents = FD_ACCEPT | FD_READ | FD_WRITE | FD_CLOSE;

SOCKET Handle(std::intptr_t socket) {
    return static_cast<SOCKET>(socket);
}

std::string SystemText(int error) {
    return std::system_category().message(error);
}

void StartSockets() {
    static const int error = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (error != 0) throw std::runtime_error(SystemText(error));
}

// Nothing for what may go on later; 0 for a failure.
std::optional<size_t> Moved(int count) {
    if (count >= 0) return static_cast<size_t>(count);
    if (WSAGetLastError() == WSAEWOULDBLOCK) return {};
    return 0;
}

int Length(size_t size) {
    return static_cast<int>(std::min<size_t>(size, 1U << 20));
}

struct AddressListCloser {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListCloser>;

AddressList AddressesOf(const std::string& host, uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (error != 0) throw std::runtime_error(SystemText(error));
    return AddressList(found);
}

bool BelongsToThisProcess(SOCKET socket) {
    return SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0) != FALSE;
}

// Invalid, with WSAGetLastError, where that cannot be listened on. Without exclusive use another
// program could take the port away.
UniqueSocket ListenOn(const addrinfo& address) {
    UniqueSocket made(static_cast<std::intptr_t>(
        socket(address.ai_family, address.ai_socktype, address.ai_protocol)));
    if (!made.IsValid()) return made;
    const DWORD on = 1;
    setsockopt(Handle(made.Get()), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
               reinterpret_cast<const char*>(&on), sizeof on);
    if (!BelongsToThisProcess(Handle(made.Get())) ||
        bind(Handle(made.Get()), address.ai_addr, static_cast<int>(address.ai_addrlen)) != 0 ||
        listen(Handle(made.Get()), kBacklog) != 0) {
        const int error = WSAGetLastError();
        made.Reset();
        WSASetLastError(error);
    }
    return made;
}

uint16_t PortOf(SOCKET socket) {
    sockaddr_storage address{};
    int length = sizeof address;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
    // Both kinds of address have it in the same place.
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

// One event for all sockets: whoever wakes tries them all.
WSAEVENT ToEvent(std::intptr_t ready) {
    return reinterpret_cast<WSAEVENT>(ready);
}

}  // namespace

void SocketTraits::Close(std::intptr_t socket) {
    closesocket(Handle(socket));
}

void TcpServer::EventTraits::Close(std::intptr_t event) {
    WSACloseEvent(ToEvent(event));
}

std::optional<size_t> TcpConnection::Receive(std::span<char> into) {
    return Moved(recv(Handle(socket_.Get()), into.data(), Length(into.size()), 0));
}

std::optional<size_t> TcpConnection::Send(std::string_view bytes) {
    return Moved(send(Handle(socket_.Get()), bytes.data(), Length(bytes.size()), 0));
}

void TcpConnection::FinishSending() {
    shutdown(Handle(socket_.Get()), SD_SEND);
}

TcpServer::TcpServer(const std::string& host, uint16_t port) {
    StartSockets();
    const AddressList addresses = AddressesOf(host, port);
    int error = WSAEADDRNOTAVAIL;
    for (const addrinfo* at = addresses.get(); at != nullptr; at = at->ai_next) {
        listener_ = ListenOn(*at);
        if (listener_.IsValid()) break;
        error = WSAGetLastError();
    }
    if (!listener_.IsValid()) throw std::runtime_error(SystemText(error));
    port_ = PortOf(Handle(listener_.Get()));
    const WSAEVENT event = WSACreateEvent();
    if (event == WSA_INVALID_EVENT) throw std::runtime_error(SystemText(WSAGetLastError()));
    ready_.Reset(reinterpret_cast<std::intptr_t>(event));
    if (WSAEventSelect(Handle(listener_.Get()), event, kAllEvents) != 0) {
        throw std::runtime_error(SystemText(WSAGetLastError()));
    }
}

// What is accepted is non-blocking and bound to the event, as its listener is.
TcpServer::Arrival TcpServer::Accept() {
    const SOCKET socket = accept(Handle(listener_.Get()), nullptr, nullptr);
    if (socket != INVALID_SOCKET) {
        UniqueSocket made(static_cast<std::intptr_t>(socket));
        const bool isReady = BelongsToThisProcess(socket) &&
                             WSAEventSelect(socket, ToEvent(ready_.Get()), kAllEvents) == 0;
        if (!isReady) return {std::nullopt, true};
        return {TcpConnection(std::move(made)), false};
    }
    const int error = WSAGetLastError();
    return {std::nullopt, error != WSAEWOULDBLOCK && error != WSAECONNRESET};
}

// The event is taken back before anything is tried, so that what comes later sets it again. Under
// Wine a rare arrival sets nothing, for a reason not known: all are tried once a second, too.
void TcpServer::Wait(const ManualResetEvent& stop, bool, std::span<const Interest>,
                     uint64_t deadlineTickMs) {
    const std::array<HANDLE, 2> handles{reinterpret_cast<HANDLE>(stop.Native()),
                                        ToEvent(ready_.Get())};
    WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                           RemainingMs(std::min(deadlineTickMs, TickMs() + kLookMs)));
    WSAResetEvent(ToEvent(ready_.Get()));
}

}  // namespace receiver
