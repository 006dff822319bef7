// Where metrics are asked for: HOST:PORT, [ADDRESS]:PORT, or a port alone, which is this machine's
// own (127.0.0.1). Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace receiver {

struct MetricsAddress {
    std::string host;   // a name or a numeric address, without brackets
    uint16_t port = 0;  // 0: the system chooses one
};

// Nothing for what is none of these forms.
std::optional<MetricsAddress> ParseMetricsAddress(const std::string& text);
// Of the page at this address.
std::string MetricsUrl(const MetricsAddress& address);

}  // namespace receiver
