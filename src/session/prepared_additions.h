// What a PREPARE may ask for beyond the basic request. Each key is free to be absent, and
// then nothing that the receiver says or does differs; what is asked for is checked after
// all else, and named in the session's snapshots, so that a controlling program can tell
// this receiver from one that does not know the keys.
//
//   Units  ms.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace receiver {

// What is said to the source's server, besides what every request carries.
struct PreparedHttp {
    std::string userAgent;                                     // empty: FFmpeg's
    std::vector<std::pair<std::string, std::string>> headers;  // name, value; no line breaks
    std::string caFile;  // certificates to trust, in the ANSI code page; empty: the system's
};

struct PreparedAdditions {
    std::optional<uint32_t> lookBackMs;  // held behind the live edge while no start was heard
    uint32_t reconnectMs = 0;            // how long a lost source is tried again
    bool reconnectLostOnly = false;      // not what never opened, or ended where it had told
    bool startNow = false;               // the programme begins with the first sample
    std::optional<uint32_t> preRollMs;   // served before the start
    bool reportsCause = false;
    bool reportsDamage = false;
    bool reportsTitles = false;
    bool reportsStation = false;
    PreparedHttp http;
    std::vector<std::string> keys;  // those that the request has, in this order
};

// True when the request asks to begin with the first sample: then no start reference, and
// no reference at all, is needed. Throws nothing: a wrong type is told by ReadAdditions.
bool AsksToStartNow(const nlohmann::json& message);

// Throws as ParsePreparedProgram does.
PreparedAdditions ReadAdditions(const nlohmann::json& message);

}  // namespace receiver
