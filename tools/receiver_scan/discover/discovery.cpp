#include "receiver_scan/discover/discovery.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <optional>
#include <utility>

#include "detect/audio_fingerprinter.h"
#include "receiver_scan/discover/jingle_likeness.h"
#include "receiver_scan/discover/sound_edges.h"

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

// The words' times, made exact by the sound.
void Refine(const std::vector<ThinAudio>& sounds, Discovered& found) {
    std::vector<size_t> order(found.times.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return found.times[a].ber < found.times[b].ber; });
    std::vector<Playing> playings;
    playings.reserve(order.size());
    for (const size_t i : order) {
        playings.push_back({&sounds[found.times[i].source], found.times[i].start});
    }
    const std::optional<SoundEdges> edges = FindSoundEdges(playings, found.seconds);
    if (!edges) return;
    found.seconds = edges->seconds;
    for (size_t i = 0; i < order.size(); ++i) {
        found.times[order[i]].start = std::max(0.0, edges->starts[i]);
    }
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
        Refine(station.sounds, found);
        discovery.found.push_back(std::move(found));
    }
    return discovery;
}

}  // namespace receiver
