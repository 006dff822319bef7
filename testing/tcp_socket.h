// A loopback TCP socket under C++ ownership: the one place of the tests that knows the
// socket interfaces of the platforms. Only ShutDown may come from another thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

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

    bool IsValid() const { return native_ != kInvalid; }
    uint16_t Port() const;                       // the local one
    TcpSocket Accept();                          // invalid on failure
    size_t Receive(char* buffer, size_t count);  // 0 at the end and on failure
    bool Send(std::string_view bytes);
    void FinishSending();  // the peer reads the end after what was sent
    void ShutDown();       // a blocked Receive or Send returns
    void Close();
    void Reset();  // the peer gets a connection reset, not an end

private:
    static constexpr intptr_t kInvalid = -1;  // also INVALID_SOCKET

    explicit TcpSocket(intptr_t native) : native_(native) {}

    intptr_t native_ = kInvalid;
};

}  // namespace receiver
