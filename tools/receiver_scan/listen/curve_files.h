// The curves and words behind a scan's result, for those who want to look themselves
// (docs/formats.md). Throws OutputError.
#pragma once

#include <string>

#include "receiver_scan/listen/scan_result.h"

namespace receiver {

// A line for each 12.5 ms: seconds, sample, and the bit error rate of each reference.
void WriteBerFile(const std::string& path, const ScanResult& result);
// Each word in 4 bytes, little-endian.
void WriteWordsFile(const std::string& path, const HeardAudio& heard);

}  // namespace receiver
