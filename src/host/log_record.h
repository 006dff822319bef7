// A control message as one line of the log: "RECEIVER TYPE key=value ...". Pure.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace receiver {

// Nested values are flattened to parent.child and array.index; text with a space,
// "=", a quote or a line end is quoted. Whatever is in the message, no line end comes out.
std::string FormatLogRecord(const nlohmann::json& message);
// CLog::kError for types with "ERROR", "REJECTED" or "FAILED" in them, else information.
int32_t LogLevelOf(const nlohmann::json& message);

}  // namespace receiver
