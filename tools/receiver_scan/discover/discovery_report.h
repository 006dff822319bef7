// What was discovered, as text and as JSON. Pure.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "receiver_scan/discover/discovery.h"

namespace receiver {

// Lines without their line ends.
std::vector<std::string> DiscoveryLines(const Discovery& discovery);
// One JSON object a line: one for each that was found, and a summary.
std::vector<std::string> DiscoveryJsonLines(const Discovery& discovery);

// What texts and pages are made of, in UTF-8.
std::string DiscoverySummary(const Discovery& discovery);  // "5 found in 1.00 hours"
std::string DiscoveredIn(const Discovery& discovery, size_t source);
std::string ExportedFile(const Discovered& found);
std::string PositionText(double seconds);  // "00:12:03.250"

// As printf has it, up to 400 characters.
template <typename First, typename... More>
std::string Printed(const char* format, First first, More... more) {
    char text[400];
    std::snprintf(text, sizeof(text), format, first, more...);
    return text;
}

}  // namespace receiver
