#include "pipe/pipe_uri.h"

#include <algorithm>
#include <cstddef>

#include "platform/text.h"

namespace receiver {
namespace {

constexpr std::string_view kPrefix = "pcm-pipe://";
constexpr size_t kMaxNameLength = 180;

bool IsNameCharacter(char c) {
    const char lower = ToLowerAscii(c);
    return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_';
}

bool StartsWithPrefix(std::string_view uri) {
    return ToLowerAscii(uri.substr(0, kPrefix.size())) == kPrefix;
}

}  // namespace

std::optional<std::string> PipeNameFromUri(std::string_view uri) {
    if (!StartsWithPrefix(uri)) return std::nullopt;
    const std::string_view name = uri.substr(kPrefix.size());
    if (name.empty() || name.size() > kMaxNameLength) return std::nullopt;
    if (!std::all_of(name.begin(), name.end(), IsNameCharacter)) return std::nullopt;
    return std::string(name);
}

std::optional<std::string> MapPipeUri(std::string_view uri) {
    const std::optional<std::string> name = PipeNameFromUri(uri);
    if (!name) return std::nullopt;
    return PipePathOfName(*name);
}

}  // namespace receiver
