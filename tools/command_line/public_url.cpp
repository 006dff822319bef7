#include "command_line/public_url.h"

#include <algorithm>

namespace receiver {
namespace {

// A file's name may well have a "#" in it.
bool LooksLikeUrl(const std::string& text) {
    const size_t query = text.find('?');
    return text.find("://") != std::string::npos || text.find('@') != std::string::npos ||
           (query != std::string::npos && text.find('=', query) != std::string::npos);
}

}  // namespace

std::string PublicUrl(const std::string& url) {
    const size_t slashes = url.find("://");
    const size_t host = slashes == std::string::npos ? 0 : slashes + 3;
    const size_t authorityEnd = std::min(url.find_first_of("/?#", host), url.size());
    const size_t end = std::min(url.find_first_of("?#", host), url.size());
    const size_t at = url.substr(host, authorityEnd - host).rfind('@');
    const size_t shown = at == std::string::npos ? host : host + at + 1;
    return url.substr(0, host) + url.substr(shown, end - shown);
}

std::string WithPublicUrls(std::string text, int argc, const char* const* argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (!LooksLikeUrl(argument)) continue;
        const std::string shown = PublicUrl(argument);
        for (size_t at = 0; (at = text.find(argument, at)) != std::string::npos;) {
            text.replace(at, argument.size(), shown);
            at += shown.size();
        }
    }
    return text;
}

}  // namespace receiver
