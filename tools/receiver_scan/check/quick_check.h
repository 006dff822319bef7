// What can be said of references before a session starts: one line for each that is not good.
#pragma once

#include <string>
#include <vector>

namespace receiver {

// "opening.wav is a weak reference: fades in: ..." with the gravest of what was found. Nothing of
// files that cannot be read: whoever goes on to use them says so; nor of those of more than two
// minutes, which would take a while. Never throws for what a file is.
std::vector<std::string> ReferenceWarnings(const std::vector<std::string>& paths);

}  // namespace receiver
