// A station that speaks HTTPS with a certificate that nobody vouches for, made when the
// test runs. It would serve whoever accepts it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace receiver {

class TlsStation final {
public:
    // Answers every path with `body`. Throws std::runtime_error.
    TlsStation(std::string contentType, std::string body);
    ~TlsStation();
    TlsStation(const TlsStation&) = delete;
    TlsStation& operator=(const TlsStation&) = delete;

    std::string Url(const std::string& path) const;  // https://127.0.0.1:port/path
    size_t ServedRequests() const;                   // requests that came through the handshake

private:
    struct Server;
    std::unique_ptr<Server> server_;
};

}  // namespace receiver
