// A JSON value as compact text with sorted keys, however deep it is nested: a
// client may send 65,536 brackets, and recursion would end the process. Pure.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace receiver {

std::string CanonicalText(const nlohmann::json& value);

}  // namespace receiver
