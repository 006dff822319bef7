// A loopback TCP socket under C++ ownership. Only ShutDown may come from another thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "testing/native_socket.h"

namespace receiver {

class TcpSocket final {
public:
    TcpSocket() = default;
    ~TcpSocket() { Close(); }
    TcpSocket(TcpSocket&& other) noexcept;
    TcpSocket& operator=(TcpSocket&& other) noexcept;

    // Throws std::runtime_error. The kernel chooses the port.
    static TcpSocket ListenOnLoopback();
    // Invalid when nobody listens.
    static TcpSocket ConnectToLoopback(uint16_t port);

    bool IsValid() const { return native_ != kNoSocket; }
    uint16_t Port() const;  // the local one
    TcpSocket Accept();     // invalid on failure

    // An accepted or connected socket transfers within kMaxHoldMs or not at all.
    size_t Receive(char* buffer, size_t count);  // 0 at the end and on failure
    bool Send(std::string_view bytes);

    void FinishSending();  // the peer reads the end after what was sent
    void ShutDown();       // a blocked Receive or Send returns
    void Close();
    void Reset();  // the peer gets a connection reset, not an end

private:
    explicit TcpSocket(NativeSocket native) : native_(native) {}

    NativeSocket native_ = kNoSocket;
};

}  // namespace receiver
