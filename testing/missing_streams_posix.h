// A program started without some of its standard streams, as some supervisors do. For
// POSIX-only tests.
#pragma once

#include <string>
#include <vector>

namespace receiver {

// The descriptors 0 to 2 as bits: 1 for standard input, 2 for output, 4 for errors.
inline constexpr int kNoStreamMissing = 0;
inline constexpr int kAllStreamsMissing = 7;

inline bool IsMissing(int missing, int fd) {
    return (missing >> fd & 1) != 0;
}

// The arguments of `sh` that make it run a command with these streams closed.
inline std::vector<std::string> WithoutStreams(int missing,
                                               const std::vector<std::string>& command) {
    std::string script = "exec \"$@\"";
    if (IsMissing(missing, 0)) script += " <&-";
    if (IsMissing(missing, 1)) script += " >&-";
    if (IsMissing(missing, 2)) script += " 2>&-";
    std::vector<std::string> arguments{"-c", script, "sh"};
    arguments.insert(arguments.end(), command.begin(), command.end());
    return arguments;
}

}  // namespace receiver
