// The manual page and the shell completions, made from the same declarations as --help.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace receiver {

// `kind` is "man", "bash" or "zsh"; nothing for any other. Without a final line feed.
std::optional<std::string> HelpDocument(const CLI::App& app, const std::string& kind);

}  // namespace receiver
