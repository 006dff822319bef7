// A scan's result for people. Pure.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "receiver_scan/listen/scan_result.h"

namespace receiver {

std::vector<std::string> ResultLines(const ScanResult& result);

// Their parts: how much was heard of the source, what became of a reference, and of the programme.
std::string HeardText(const ScanResult& result);
std::string ReferenceLine(const ScanResult& result, size_t index);
std::string ProgrammeLine(const ScanResult& result);

// "ignored: the programme had begun already".
const char* Describe(MatchFate fate);
// "it ends with the recording outro", "the source ended".
std::string DescribeEnd(const Programme& programme);

}  // namespace receiver
