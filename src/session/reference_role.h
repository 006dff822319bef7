// What a reference recording is listened for. Pure.
#pragma once

#include <optional>
#include <string_view>

namespace receiver {

enum class ReferenceRole {
    kStart,  // the programme begins with it
    kEnd,    // the programme ends with it
    kOther,  // it is only reported
};

// The role's word on the wire.
const char* NameOf(ReferenceRole role);
// Nothing for any other word; case counts.
std::optional<ReferenceRole> ReferenceRoleNamed(std::string_view name);

}  // namespace receiver
