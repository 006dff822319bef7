#include "receiver_record/request/connection_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "command_line/duration.h"
#include "command_line/public_url.h"
#include "platform/text.h"
#include "wire/prepare_limits.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kBlanks = " \t\r\n";

std::string Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

bool IsHeaderText(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte == '\t' || (byte >= 0x20 && byte != 0x7F);
    });
}

bool IsToken(std::string_view text) {
    constexpr std::string_view kOthers = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               kOthers.find(c) != std::string_view::npos;
    });
}

// What it holds may be a secret: the text names at most the header.
void AddHeader(const std::string& text, HttpOptions& http) {
    const size_t colon = text.find(':');
    const std::string name = text.substr(0, std::min(colon, text.size()));
    if (colon == std::string::npos || !IsToken(name)) {
        throw std::invalid_argument("--header: expected NAME: VALUE");
    }
    const std::string value = Trimmed(std::string_view(text).substr(colon + 1));
    if (!IsHeaderText(value) || name.size() + value.size() > kMaxHttpHeaderBytes) {
        throw std::invalid_argument("--header: the value of " + name + " cannot be sent");
    }
    if (!http.headers.emplace(name, value).second) {
        throw std::invalid_argument("--header: " + name + " is given twice");
    }
    if (http.headers.size() > kMaxHttpHeaders) {
        throw std::invalid_argument("--header: at most " + std::to_string(kMaxHttpHeaders) +
                                    " are possible");
    }
}

std::string CertificateFile(const std::string& name) {
    const fs::path path = ToFilesystemPath(name);
    std::error_code error;
    if (!fs::is_regular_file(path, error)) {
        throw std::invalid_argument("--ca-file: no such file: " + name);
    }
    return ToUtf8(fs::absolute(path));
}

}  // namespace

void DeclareConnection(CLI::App& app, ConnectionValues& values) {
    const char* const group = "The connection";
    app.add_option("--reconnect", values.reconnect,
                   "How long a lost source is tried again, up to 24h (default: 5m; 0: not at all)")
        ->type_name("DURATION")
        ->group(group);
    app.add_option("--user-agent", values.userAgent, "What the station is told who listens")
        ->type_name("TEXT")
        ->group(group);
    app.add_option("--header", values.headers,
                   "A further line of the requests to the server of URL; may be repeated")
        ->type_name("\"NAME: VALUE\"")
        ->allow_extra_args(false)
        ->group(group);
    app.add_option("--ca-file", values.caFile,
                   "Certificates (PEM) to trust instead of the system's")
        ->type_name("FILE")
        ->group(group);
}

ConnectionOptions CheckConnection(const ConnectionValues& values) {
    ConnectionOptions options;
    if (!values.reconnect.empty()) {
        const std::optional<uint64_t> ms = ParseDuration(values.reconnect);
        if (!ms) {
            throw std::invalid_argument("--reconnect: invalid duration \"" + values.reconnect +
                                        "\"");
        }
        if (*ms > kMaxReconnectMs) {
            throw std::invalid_argument("--reconnect: " + values.reconnect +
                                        " is not between 0s and " +
                                        FormatDuration(kMaxReconnectMs));
        }
        options.reconnectMs = static_cast<uint32_t>(*ms);
    }
    if (!IsHeaderText(values.userAgent) || values.userAgent.size() > kMaxUserAgentBytes) {
        throw std::invalid_argument("--user-agent: at most " + std::to_string(kMaxUserAgentBytes) +
                                    " bytes of text in one line are possible");
    }
    options.http.userAgent = values.userAgent;
    for (const std::string& header : values.headers) AddHeader(header, options.http);
    if (!values.caFile.empty()) options.http.caFile = CertificateFile(values.caFile);
    return options;
}

std::string CheckUrl(const std::string& text) {
    const std::string url = Trimmed(text);
    for (const std::string_view scheme : {"http://", "https://"}) {
        const std::string start = ToLowerAscii(std::string_view(url).substr(0, scheme.size()));
        if (start == scheme) return start + url.substr(scheme.size());
    }
    throw std::invalid_argument("URL: \"" + PublicUrl(text) +
                                "\" does not begin with http:// or https://");
}

}  // namespace receiver
