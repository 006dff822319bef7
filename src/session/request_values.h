// How single values of a request are read: numbers of every JSON kind, in the library's
// own words where the kind is wrong. Throws the JSON library's exceptions.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace receiver {

inline void RequireOfRequest(bool holds, const char* text) {
    if (!holds) throw std::invalid_argument(text);
}

// A value out of range becomes the largest one, which every range check refuses:
// converting it would be undefined.
template <typename Unsigned>
Unsigned TruncateToUnsigned(double value) {
    const double whole = std::trunc(value);
    const double limit = std::ldexp(1.0, std::numeric_limits<Unsigned>::digits);
    if (!(whole >= 0.0 && whole < limit)) return std::numeric_limits<Unsigned>::max();
    return static_cast<Unsigned>(whole);
}

// For uint32_t the library takes booleans and wraps integers, for uint64_t it refuses
// booleans; both refuse everything else in the library's own words.
template <typename Unsigned>
Unsigned ReadUnsigned(const nlohmann::json& value) {
    if (value.is_number_float()) return TruncateToUnsigned<Unsigned>(value.get<double>());
    return value.get<Unsigned>();
}

inline uint64_t ReadOptionalUnsigned(const nlohmann::json& object, const char* key,
                                     uint64_t absent) {
    const auto found = object.find(key);
    return found == object.end() ? absent : ReadUnsigned<uint64_t>(*found);
}

}  // namespace receiver
