// How the station is connected to: --reconnect, --user-agent, --header, --ca-file.
//
//   Units  times ms.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "receiver_client/messages.h"

namespace CLI {
class App;
}

namespace receiver {

// As typed.
struct ConnectionValues {
    std::string reconnect = {};
    std::string userAgent = {};
    std::vector<std::string> headers = {};
    std::string caFile = {};
};

struct ConnectionOptions {
    static constexpr uint32_t kDefaultReconnectMs = 300000;

    uint32_t reconnectMs = kDefaultReconnectMs;  // 0: one connection
    HttpOptions http;                            // with an absolute path
};

// The values outlive the application.
void DeclareConnection(CLI::App& app, ConnectionValues& values);
// Throws std::invalid_argument with a text for people, which never has a header's value in it.
ConnectionOptions CheckConnection(const ConnectionValues& values);

// The URL as a receiver takes it: without blanks around it, its scheme in lower case. Throws
// std::invalid_argument for one that is not http:// or https://.
std::string CheckUrl(const std::string& text);

}  // namespace receiver
