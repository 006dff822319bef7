// Pipe names out of arbitrary text, and the way back: accepted is what the rule says and
// nothing else, an accepted name is safe as a file name, and its path names it alone.
#include <algorithm>
#include <string>
#include <string_view>

#include "fuzz.h"
#include "pipe/pipe_uri.h"

namespace receiver {
namespace {

constexpr std::string_view kScheme = "pcm-pipe://";
constexpr std::string_view kAllowed =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._";
constexpr size_t kMaxName = 180;

bool HasScheme(std::string_view uri) {
    constexpr std::string_view kCapitals = "PCM-PIPE://";
    if (uri.size() < kScheme.size()) return false;
    for (size_t i = 0; i < kScheme.size(); ++i) {
        if (uri[i] != kScheme[i] && uri[i] != kCapitals[i]) return false;
    }
    return true;
}

bool IsGood(std::string_view uri) {
    if (!HasScheme(uri)) return false;
    const std::string_view name = uri.substr(kScheme.size());
    return !name.empty() && name.size() <= kMaxName &&
           name.find_first_not_of(kAllowed) == std::string_view::npos;
}

// The last part of a path, either system's.
std::string_view FileNameOf(std::string_view path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    const std::string_view uri(reinterpret_cast<const char*>(data), size);
    const auto name = PipeNameFromUri(uri);
    const auto path = MapPipeUri(uri);
    Expect(name.has_value() == IsGood(uri));
    Expect(path.has_value() == name.has_value());
    if (!name) return 0;
    Expect(uri.substr(kScheme.size()) == *name);
    Expect(*path == PipePathOfName(*name));

    // The way back: what the path adds to the name is the same for every name, so that no two
    // names share a path.
    constexpr std::string_view kFilePrefix = "Corvadel.PCM.";
    const std::string_view fileName = FileNameOf(*path);
    Expect(fileName.starts_with(kFilePrefix));
    Expect(fileName.substr(kFilePrefix.size()) == *name);
    const std::string other = PipePathOfName("a");
    Expect(std::string_view(other).substr(0, other.size() - 1) ==
           std::string_view(*path).substr(0, path->size() - name->size()));
    Expect(PipeNameFromUri(std::string(kScheme) +
                           std::string(fileName.substr(kFilePrefix.size()))) == name);
    return 0;
}
