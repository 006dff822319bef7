// What was found in hours of a station, with its times in each source: what the texts, the page
// and the exported files are made from. Pure.
//
//   Units  seconds from the beginning of a source.
#pragma once

#include <string>
#include <vector>

#include "receiver_scan/discover/repeat_groups.h"
#include "receiver_scan/discover/station_fingerprint.h"

namespace receiver {

struct DiscoveredTime {
    size_t source = 0;  // in Discovery::sources
    double start = 0.0;
    double ber = 0.0;  // against what the others agree on
};

struct Discovered {
    std::string name;  // "jingle-01"
    double seconds = 0.0;
    double likeness = 0.0;  // to a jingle, 0..1
    std::vector<DiscoveredTime> times;
    size_t clearest = 0;       // of the times
    std::string exportedFile;  // empty: not exported
};

struct Discovery {
    std::vector<StationSource> sources;
    std::vector<Discovered> found;  // the most jingle-like first
    size_t longer = 0;              // repeated, but too long
};

Discovery MakeDiscovery(const StationFingerprint& station, Groups groups);

}  // namespace receiver
