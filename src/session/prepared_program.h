// A PREPARE request, checked: what one session listens to, for what, and how long.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "session/prepared_additions.h"
#include "session/reference_role.h"
#include "wire/prepare_limits.h"

namespace receiver {

struct PreparedReference {
    std::string id;  // unique in the request
    ReferenceRole role = ReferenceRole::kOther;
    std::string path;  // local file, in the ANSI code page
};

struct PreparedProgram {
    std::string sessionId;
    std::string url;  // HTTP(S), in the ANSI code page
    uint32_t ioTimeoutMs = kDefaultIoTimeoutMs;
    uint32_t blockBytes = kDefaultBlockBytes;
    uint32_t maximumMs = 0;  // 0: no program bounds were asked for
    uint32_t fadeMs = 0;
    std::vector<PreparedReference> references;  // 1..32, at least one "start"; none is
                                                // needed where the programme starts now
    PreparedAdditions additions;
};

// Throws std::invalid_argument with the text for the controlling program, or the
// JSON library's exception for a missing key or a wrong type; the first fault in
// the order of the checks decides. Looks at the disk only to see that references exist.
PreparedProgram ParsePreparedProgram(const nlohmann::json& message);

}  // namespace receiver
