#include <winsock2.h>
#include <ws2tcpip.h>

#include "testing/native_socket.h"

namespace receiver {
namespace {

SOCKET Handle(NativeSocket socket) {
    return static_cast<SOCKET>(socket);
}

bool StartSockets() {
    static const int started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    return started == 0;
}

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

template <typename Value>
void SetOption(NativeSocket socket, int option, const Value& value) {
    setsockopt(Handle(socket), SOL_SOCKET, option, reinterpret_cast<const char*>(&value),
               sizeof value);
}

}  // namespace

NativeSocket OpenNativeSocket() {
    if (!StartSockets()) return kNoSocket;
    return static_cast<NativeSocket>(socket(AF_INET, SOCK_STREAM, 0));
}

bool ListenOnLoopback(NativeSocket socket) {
    const sockaddr_in address = Loopback(0);
    return bind(Handle(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           listen(Handle(socket), SOMAXCONN) == 0;
}

bool ConnectToLoopback(NativeSocket socket, uint16_t port) {
    const sockaddr_in address = Loopback(port);
    return connect(Handle(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
           0;
}

uint16_t LocalPort(NativeSocket socket) {
    sockaddr_in address{};
    int length = sizeof address;
    if (getsockname(Handle(socket), reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
    return ntohs(address.sin_port);
}

NativeSocket AcceptNativeSocket(NativeSocket listener) {
    return static_cast<NativeSocket>(accept(Handle(listener), nullptr, nullptr));
}

void SetTransferTimeout(NativeSocket socket, uint32_t ms) {
    SetOption(socket, SO_RCVTIMEO, DWORD{ms});
    SetOption(socket, SO_SNDTIMEO, DWORD{ms});
}

ptrdiff_t ReceiveSome(NativeSocket socket, char* buffer, size_t count) {
    return recv(Handle(socket), buffer, static_cast<int>(count), 0);
}

ptrdiff_t SendSome(NativeSocket socket, const char* bytes, size_t count) {
    return send(Handle(socket), bytes, static_cast<int>(count), 0);
}

void ShutDownSending(NativeSocket socket) {
    shutdown(Handle(socket), SD_SEND);
}

void ShutDownBoth(NativeSocket socket) {
    shutdown(Handle(socket), SD_BOTH);
}

void CloseNativeSocket(NativeSocket socket) {
    closesocket(Handle(socket));
}

void ResetNativeSocket(NativeSocket socket) {
    SetOption(socket, SO_LINGER, linger{1, 0});
    CloseNativeSocket(socket);
}

}  // namespace receiver
