#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "testing/native_socket.h"

namespace receiver {
namespace {

int Fd(NativeSocket socket) {
    return static_cast<int>(socket);
}

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

}  // namespace

NativeSocket OpenNativeSocket() {
    return socket(AF_INET, SOCK_STREAM, 0);
}

bool ListenOnLoopback(NativeSocket socket) {
    const sockaddr_in address = Loopback(0);
    return bind(Fd(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           listen(Fd(socket), SOMAXCONN) == 0;
}

bool ConnectToLoopback(NativeSocket socket, uint16_t port) {
    const sockaddr_in address = Loopback(port);
    return connect(Fd(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

uint16_t LocalPort(NativeSocket socket) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (getsockname(Fd(socket), reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
    return ntohs(address.sin_port);
}

NativeSocket AcceptNativeSocket(NativeSocket listener) {
    return accept(Fd(listener), nullptr, nullptr);
}

void SetTransferTimeout(NativeSocket socket, uint32_t ms) {
    const timeval time{ms / 1000, static_cast<suseconds_t>(ms % 1000 * 1000)};
    setsockopt(Fd(socket), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
    setsockopt(Fd(socket), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

ptrdiff_t ReceiveSome(NativeSocket socket, char* buffer, size_t count) {
    return recv(Fd(socket), buffer, count, 0);
}

ptrdiff_t SendSome(NativeSocket socket, const char* bytes, size_t count) {
    return send(Fd(socket), bytes, count, MSG_NOSIGNAL);
}

void ShutDownSending(NativeSocket socket) {
    shutdown(Fd(socket), SHUT_WR);
}

void ShutDownBoth(NativeSocket socket) {
    shutdown(Fd(socket), SHUT_RDWR);
}

void CloseNativeSocket(NativeSocket socket) {
    close(Fd(socket));
}

void ResetNativeSocket(NativeSocket socket) {
    const linger abandon{1, 0};
    setsockopt(Fd(socket), SOL_SOCKET, SO_LINGER, &abandon, sizeof abandon);
    CloseNativeSocket(socket);
}

}  // namespace receiver
