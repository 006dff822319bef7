// Addresses as they stand in a playlist, made whole. Pure.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace receiver {

// The address that `reference` names in a text that came from `base`, which is http:// or
// https://: RFC 3986 as far as HTTP needs it. The scheme is in lower case, there is no fragment, a
// blank is %20. Nothing for other schemes, control characters, and what is longer than a receiver
// takes.
std::optional<std::string> ResolveUrl(std::string_view base, std::string_view reference);

// Of the path, in lower case and without its dot: "m3u"; "" without one.
std::string ExtensionOfUrl(std::string_view url);

}  // namespace receiver
