// A scan's result for programs (docs/formats.md). Pure.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "receiver_scan/listen/scan_result.h"

namespace receiver {

// An object for each match and each near miss, then the summary.
std::vector<nlohmann::json> ResultObjects(const ScanResult& result);

// "starts-programme".
const char* NameOf(MatchFate fate);

}  // namespace receiver
