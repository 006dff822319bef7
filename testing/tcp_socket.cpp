#include "testing/tcp_socket.h"

#include <stdexcept>
#include <utility>

#include "testing/patience.h"

namespace receiver {

TcpSocket::TcpSocket(TcpSocket&& other) noexcept
    : native_(std::exchange(other.native_, kNoSocket)) {}

TcpSocket& TcpSocket::operator=(TcpSocket&& other) noexcept {
    if (this != &other) {
        Close();
        native_ = std::exchange(other.native_, kNoSocket);
    }
    return *this;
}

TcpSocket TcpSocket::ListenOnLoopback() {
    TcpSocket made(OpenNativeSocket());
    if (!made.IsValid() || !receiver::ListenOnLoopback(made.native_)) {
        throw std::runtime_error("no loopback listener");
    }
    return made;
}

TcpSocket TcpSocket::ConnectToLoopback(uint16_t port) {
    TcpSocket made(OpenNativeSocket());
    if (!made.IsValid() || !receiver::ConnectToLoopback(made.native_, port)) {
        made.Close();
    } else {
        SetTransferTimeout(made.native_, kMaxHoldMs);
    }
    return made;
}

uint16_t TcpSocket::Port() const {
    return LocalPort(native_);
}

TcpSocket TcpSocket::Accept() {
    TcpSocket accepted(AcceptNativeSocket(native_));
    if (accepted.IsValid()) SetTransferTimeout(accepted.native_, kMaxHoldMs);
    return accepted;
}

size_t TcpSocket::Receive(char* buffer, size_t count) {
    const ptrdiff_t got = ReceiveSome(native_, buffer, count);
    return got > 0 ? static_cast<size_t>(got) : 0;
}

bool TcpSocket::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ptrdiff_t sent = SendSome(native_, bytes.data(), bytes.size());
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

void TcpSocket::FinishSending() {
    ShutDownSending(native_);
}

void TcpSocket::ShutDown() {
    if (IsValid()) ShutDownBoth(native_);
}

void TcpSocket::Close() {
    const NativeSocket old = std::exchange(native_, kNoSocket);
    if (old != kNoSocket) CloseNativeSocket(old);
}

void TcpSocket::Reset() {
    const NativeSocket old = std::exchange(native_, kNoSocket);
    if (old != kNoSocket) ResetNativeSocket(old);
}

}  // namespace receiver
