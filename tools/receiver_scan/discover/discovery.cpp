#include "receiver_scan/discover/discovery.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "detect/audio_fingerprinter.h"
#include "receiver_scan/discover/jingle_likeness.h"

namespace receiver {
namespace {

std::string NameOf(size_t index) {
    char name[32];
    std::snprintf(name, sizeof(name), "jingle-%02zu", index + 1);
    return name;
}

DiscoveredTime TimeOf(const Occurrence& occurrence, double seconds,
                      const StationFingerprint& station) {
    const double middle = occurrence.start + seconds / 2.0;
    const StationSource& source =
        station.SourceOf(static_cast<size_t>(std::max(0.0, middle) / kHopSeconds));
    return {static_cast<size_t>(&source - station.sources.data()),
            std::max(0.0, station.SecondsWithin(source, occurrence.start)), occurrence.ber};
}

}  // namespace

Discovery MakeDiscovery(const StationFingerprint& station, Groups groups) {
    Discovery discovery;
    discovery.sources = station.sources;
    discovery.longer = groups.longer.size();
    SortByJingleLikeness(groups.repeated);
    for (const RepeatGroup& group : groups.repeated) {
        Discovered found;
        found.name = NameOf(discovery.found.size());
        found.seconds = group.seconds;
        found.likeness = JingleLikeness(group);
        found.clearest = group.clearest;
        for (const Occurrence& occurrence : group.occurrences) {
            found.times.push_back(TimeOf(occurrence, group.seconds, station));
        }
        discovery.found.push_back(std::move(found));
    }
    return discovery;
}

}  // namespace receiver
