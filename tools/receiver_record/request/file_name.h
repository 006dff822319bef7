// The name of a recording that is made of what is known when it begins: "%Y-%m-%d {title}.flac".
// Pure but for FreeName.
#pragma once

#include <cstdint>
#include <string>

#include "platform/clock.h"

namespace receiver {

struct NameFacts {
    LocalTime start;      // of the programme
    std::string id;       // of the start recording; empty without one
    std::string title;    // what the station says that it plays; empty when it says nothing
    uint64_t number = 1;  // of the programme in this run
};

// Whether the name has any of the fields %Y %y %m %d %H %M %S %j %F %a %A %b %B, {id}, {title}
// and {n}. Any other text, and "%%" for "%", stands for itself.
bool HasFields(const std::string& name);
// With the fields' values, in which what no file name may hold becomes "_".
std::string FillFields(const std::string& name, const NameFacts& facts);
// The name itself, or, while that, its .json or its .part exists, "NAME-2.EXT", "NAME-3.EXT", ...
std::string FreeName(const std::string& name);

}  // namespace receiver
