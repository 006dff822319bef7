// What the page's program draws: the curves in few points, the marks, the differing bits. Pure.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "receiver_scan/listen/scan_result.h"

namespace receiver {

// Points of a curve at most, however long the source is.
inline constexpr size_t kMaxReportPoints = 24000;

// The views have their curves.
nlohmann::json ReportData(const ScanResult& result);

}  // namespace receiver
