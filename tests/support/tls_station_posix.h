// A station that speaks HTTPS with a certificate that nobody vouches for, made when the
// test runs. It would serve whoever accepts it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

class CTlsStation final {
public:
    // Answers every path with `body`. Throws std::runtime_error.
    CTlsStation(std::string contentType, std::string body);
    ~CTlsStation();
    CTlsStation(const CTlsStation&) = delete;
    CTlsStation& operator=(const CTlsStation&) = delete;

    std::string Url(const std::string& path) const;  // https://127.0.0.1:port/path
    size_t ServedRequests() const;                   // requests that came through the handshake

private:
    struct Server;
    std::unique_ptr<Server> server_;
};
