// The report: one page that needs nothing else, with everything of a scan in it. Its tables
// are there without scripts, its curves are drawn by Dygraphs, which is part of the page.
#pragma once

#include <string>

#include "receiver_scan/listen/scan_result.h"

namespace receiver {

std::string ReportPage(const ScanResult& result);

}  // namespace receiver
