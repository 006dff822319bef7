// Texts of others on their way to a terminal. Pure.
#pragma once

#include <string>

namespace receiver {

// What a terminal would obey becomes question marks: the control characters of ASCII and those
// of Latin-1, which UTF-8 writes as two bytes.
std::string Harmless(std::string text);

}  // namespace receiver
