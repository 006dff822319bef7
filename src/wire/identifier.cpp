#include "wire/identifier.h"

#include <algorithm>

namespace receiver {
namespace {

constexpr size_t kMaxIdentifierLength = 80;

// Not std::isalnum: its answer for a byte of 128 or above depends on the locale.
bool IsIdentifierCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
}

}  // namespace

bool IsValidSessionId(std::string_view id) {
    return !id.empty() && id.size() <= kMaxIdentifierLength &&
           std::all_of(id.begin(), id.end(), IsIdentifierCharacter);
}

}  // namespace receiver
