#include "session/reference_role.h"

#include "wire/messages.h"

namespace receiver {

const char* NameOf(ReferenceRole role) {
    switch (role) {
        case ReferenceRole::kStart:
            return kRoleStart;
        case ReferenceRole::kEnd:
            return kRoleEnd;
        case ReferenceRole::kOther:
            break;
    }
    return kRoleOther;
}

std::optional<ReferenceRole> ReferenceRoleNamed(std::string_view name) {
    for (const ReferenceRole role :
         {ReferenceRole::kStart, ReferenceRole::kEnd, ReferenceRole::kOther}) {
        if (name == NameOf(role)) return role;
    }
    return std::nullopt;
}

}  // namespace receiver
