#include "playlists/relative_url.h"

#include <algorithm>

#include "platform/text.h"
#include "wire/prepare_limits.h"

namespace receiver {
namespace {

constexpr std::string_view kSchemeEnd = "://";

// Up to and with the colon, in lower case; "" without a scheme.
std::string SchemeOf(std::string_view url) {
    const size_t end = url.find_first_of(":/?#");
    if (end == std::string_view::npos || end == 0 || url[end] != ':') return "";
    return ToLowerAscii(std::string(url.substr(0, end + 1)));
}

bool IsHttpScheme(std::string_view scheme) {
    return scheme == "http:" || scheme == "https:";
}

// A URL that begins with "http://" or "https://" in any case, in its parts.
struct UrlParts {
    std::string server;  // scheme and authority
    std::string path;    // begins with "/", or is empty
    std::string query;   // with its "?", or is empty
};

std::optional<UrlParts> Split(std::string_view url) {
    url = url.substr(0, url.find('#'));
    const std::string scheme = SchemeOf(url);
    if (!IsHttpScheme(scheme) || !url.substr(scheme.size()).starts_with("//")) return std::nullopt;
    const size_t authority = scheme.size() + 2;
    const size_t authorityEnd = std::min(url.find_first_of("/?", authority), url.size());
    if (authorityEnd == authority) return std::nullopt;
    const size_t pathEnd = std::min(url.find('?', authorityEnd), url.size());
    UrlParts parts;
    parts.server = scheme + std::string(url.substr(scheme.size(), authorityEnd - scheme.size()));
    parts.path = url.substr(authorityEnd, pathEnd - authorityEnd);
    parts.query = url.substr(pathEnd);
    return parts;
}

// Resolves "." and ".." of a path that begins with "/".
std::string WithoutDots(std::string_view path) {
    std::string result;
    while (!path.empty()) {
        const size_t end = std::min(path.find('/', 1), path.size());
        const std::string_view segment = path.substr(0, end);
        const bool isLast = end == path.size();
        path.remove_prefix(end);
        if (segment == "/..") {
            result.erase(std::min(result.rfind('/'), result.size()));
        } else if (segment != "/.") {
            result += segment;
            continue;
        }
        if (isLast) result += '/';
    }
    return result;
}

std::string WithoutBlanks(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        if (c == ' ') {
            result += "%20";
        } else {
            result += c;
        }
    }
    return result;
}

bool HasControlCharacters(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F;
    });
}

std::optional<std::string> Join(const UrlParts& base, std::string_view reference) {
    reference = reference.substr(0, reference.find('#'));
    const std::string scheme = SchemeOf(reference);
    if (!scheme.empty() || reference.starts_with("//")) {
        const std::string baseScheme = base.server.substr(0, base.server.find(':') + 1);
        const std::optional<UrlParts> whole =
            Split(scheme.empty() ? baseScheme + std::string(reference) : std::string(reference));
        if (!whole) return std::nullopt;
        return whole->server + WithoutDots(whole->path) + whole->query;
    }
    const size_t pathEnd = std::min(reference.find('?'), reference.size());
    const std::string path(reference.substr(0, pathEnd));
    const std::string query(reference.substr(pathEnd));
    if (path.empty()) return base.server + base.path + (query.empty() ? base.query : query);
    if (path.front() == '/') return base.server + WithoutDots(path) + query;
    const size_t folderEnd = base.path.rfind('/');
    const std::string folder =
        folderEnd == std::string::npos ? "/" : base.path.substr(0, folderEnd + 1);
    return base.server + WithoutDots(folder + path) + query;
}

}  // namespace

std::optional<std::string> ResolveUrl(std::string_view base, std::string_view reference) {
    const std::optional<UrlParts> parts = Split(base);
    if (!parts || HasControlCharacters(base) || HasControlCharacters(reference)) {
        return std::nullopt;
    }
    std::optional<std::string> url = Join(*parts, reference);
    if (!url) return std::nullopt;
    url = WithoutBlanks(*url);
    if (url->size() > kMaxUrlBytes) return std::nullopt;
    return url;
}

std::string ExtensionOfUrl(std::string_view url) {
    url = url.substr(0, url.find_first_of("?#"));
    const size_t server = url.find(kSchemeEnd);
    if (server != std::string_view::npos) {
        const size_t path = url.find('/', server + kSchemeEnd.size());
        if (path == std::string_view::npos) return "";
        url.remove_prefix(path);
    }
    url.remove_prefix(std::min(url.find_last_of('/') + 1, url.size()));
    const size_t dot = url.rfind('.');
    return dot == std::string_view::npos ? "" : ToLowerAscii(std::string(url.substr(dot + 1)));
}

}  // namespace receiver
