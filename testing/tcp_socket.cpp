#include "testing/tcp_socket.h"

#include <stdexcept>
#include <utility>

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace receiver {
namespace {

#ifdef _WIN32
using NativeSocket = SOCKET;
using Length = int;
using Count = int;
constexpr int kShutSend = SD_SEND;
constexpr int kShutBoth = SD_BOTH;
constexpr int kNoSignal = 0;
void CloseNative(NativeSocket s) {
    closesocket(s);
}
void StartSockets() {
    static const int started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (started != 0) throw std::runtime_error("WSAStartup failed");
}
#else
using NativeSocket = int;
using Length = socklen_t;
using Count = size_t;
constexpr int kShutSend = SHUT_WR;
constexpr int kShutBoth = SHUT_RDWR;
constexpr int kNoSignal = MSG_NOSIGNAL;
void CloseNative(NativeSocket s) {
    close(s);
}
void StartSockets() {}
#endif

NativeSocket Native(intptr_t value) {
    return static_cast<NativeSocket>(value);
}

intptr_t NewSocket() {
    StartSockets();
    return static_cast<intptr_t>(socket(AF_INET, SOCK_STREAM, 0));
}

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

}  // namespace

TcpSocket::TcpSocket(TcpSocket&& other) noexcept
    : native_(std::exchange(other.native_, kInvalid)) {}

TcpSocket& TcpSocket::operator=(TcpSocket&& other) noexcept {
    if (this != &other) {
        Close();
        native_ = std::exchange(other.native_, kInvalid);
    }
    return *this;
}

TcpSocket TcpSocket::ListenOnLoopback() {
    TcpSocket made(NewSocket());
    const sockaddr_in address = Loopback(0);
    if (!made.IsValid() ||
        bind(Native(made.native_), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0 ||
        listen(Native(made.native_), 64) != 0) {
        throw std::runtime_error("no loopback listener");
    }
    return made;
}

TcpSocket TcpSocket::ConnectToLoopback(uint16_t port) {
    TcpSocket made(NewSocket());
    const sockaddr_in address = Loopback(port);
    if (connect(Native(made.native_), reinterpret_cast<const sockaddr*>(&address),
                sizeof address) != 0) {
        made.Close();
    }
    return made;
}

uint16_t TcpSocket::Port() const {
    sockaddr_in address{};
    Length length = sizeof address;
    if (getsockname(Native(native_), reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
    return ntohs(address.sin_port);
}

TcpSocket TcpSocket::Accept() {
    return TcpSocket(static_cast<intptr_t>(accept(Native(native_), nullptr, nullptr)));
}

size_t TcpSocket::Receive(char* buffer, size_t count) {
    const auto got = recv(Native(native_), buffer, static_cast<Count>(count), 0);
    return got > 0 ? static_cast<size_t>(got) : 0;
}

bool TcpSocket::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent =
            send(Native(native_), bytes.data(), static_cast<Count>(bytes.size()), kNoSignal);
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

void TcpSocket::FinishSending() {
    shutdown(Native(native_), kShutSend);
}

void TcpSocket::ShutDown() {
    if (IsValid()) shutdown(Native(native_), kShutBoth);
}

void TcpSocket::Close() {
    const intptr_t old = std::exchange(native_, kInvalid);
    if (old != kInvalid) CloseNative(Native(old));
}

void TcpSocket::Reset() {
    const linger abandon{1, 0};
    setsockopt(Native(native_), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abandon),
               sizeof abandon);
    Close();
}

}  // namespace receiver
