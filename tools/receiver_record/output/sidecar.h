// The file beside the audio: everything about a recording, as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "receiver_record/record_report.h"

namespace receiver {

nlohmann::json ToJson(const RecordReport& report);
// Replaces a file of that name only with `overwrite`. Throws std::runtime_error with a text for
// people.
void WriteSidecar(const std::string& path, const RecordReport& report, bool overwrite);

}  // namespace receiver
