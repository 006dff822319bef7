// The completions of a tool, for bash and zsh. Pure.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace receiver {

// Without a final line feed.
std::string BashCompletion(const CLI::App& app, const std::string& toolName);
std::string ZshCompletion(const CLI::App& app, const std::string& toolName);

}  // namespace receiver
