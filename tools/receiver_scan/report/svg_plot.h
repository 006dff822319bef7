// The report's curves as one picture, for documents: level, programme, and a curve with its
// marks for each reference. Light or dark as the reader has it. Pure.
#pragma once

#include <string>

#include "receiver_scan/listen/scan_result.h"

namespace receiver {

// The views have their curves.
std::string SvgPlot(const ScanResult& result);

}  // namespace receiver
