// What was discovered as a page: where each was heard. Pure.
#pragma once

#include <string>

#include "receiver_scan/discover/discovery.h"

namespace receiver {

// Self-contained and without scripts.
std::string DiscoveryPage(const Discovery& discovery);

}  // namespace receiver
