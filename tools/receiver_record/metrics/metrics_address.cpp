#include "receiver_record/metrics/metrics_address.h"

#include <algorithm>
#include <string_view>

#include "receiver_record/metrics/metrics_request.h"

namespace receiver {
namespace {

constexpr const char* kThisMachine = "127.0.0.1";
constexpr std::string_view kDigits = "0123456789";

std::optional<uint16_t> ParsePort(std::string_view text) {
    constexpr size_t kMaxDigits = 5;
    constexpr uint32_t kMaxPort = 65535;
    if (text.empty() || text.size() > kMaxDigits) return {};
    uint32_t port = 0;
    for (const char c : text) {
        if (kDigits.find(c) == std::string_view::npos) return {};
        port = port * 10 + static_cast<uint32_t>(c - '0');
    }
    if (port > kMaxPort) return {};
    return static_cast<uint16_t>(port);
}

bool IsMadeOf(std::string_view text, std::string_view others) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               others.find(c) != std::string_view::npos;
    });
}

// The host as it stands before the colon; nothing where it is none.
std::optional<std::string> ParseHost(std::string_view text) {
    if (text.empty()) return kThisMachine;
    if (text.front() == '[' && text.back() == ']') {
        text = text.substr(1, text.size() - 2);
        if (text.find(':') == std::string_view::npos || !IsMadeOf(text, ":.%-_")) return {};
        return std::string(text);
    }
    if (!IsMadeOf(text, ".-_")) return {};
    return std::string(text);
}

}  // namespace

std::optional<MetricsAddress> ParseMetricsAddress(const std::string& text) {
    const size_t colon = text.rfind(':');
    const bool hasHost = colon != std::string::npos;
    const auto host = ParseHost(hasHost ? std::string_view(text).substr(0, colon) : "");
    const auto port = ParsePort(hasHost ? std::string_view(text).substr(colon + 1) : text);
    if (!host || !port) return {};
    return MetricsAddress{*host, *port};
}

std::string MetricsUrl(const MetricsAddress& address) {
    const bool needsBrackets = address.host.find(':') != std::string::npos;
    return "http://" + (needsBrackets ? "[" + address.host + "]" : address.host) + ":" +
           std::to_string(address.port) + kMetricsPath;
}

}  // namespace receiver
