// What was discovered, as text, as JSON and as a page. Pure.
#pragma once

#include <string>
#include <vector>

#include "receiver_scan/discover/discovery.h"

namespace receiver {

// Lines without their line ends.
std::vector<std::string> DiscoveryLines(const Discovery& discovery);
// One JSON object a line: one for each that was found, and a summary.
std::vector<std::string> DiscoveryJsonLines(const Discovery& discovery);
// A self-contained page without scripts: where each was heard.
std::string DiscoveryPage(const Discovery& discovery);

}  // namespace receiver
