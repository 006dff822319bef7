#include "receiver_scan/discover/station_fingerprint.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "detect/audio_fingerprinter.h"

namespace receiver {
namespace {

constexpr size_t kSeparatorWords = 512;
constexpr int8_t kLowestDb = -100;
constexpr double kHeardRate = 44100.0;
// A word's level is that of its first 12.5 ms; a word tells most of the middle of its frame.
constexpr size_t kMiddleWords = 15;

int8_t Db(float rms) {
    if (rms <= 1e-5F) return kLowestDb;
    return static_cast<int8_t>(std::lround(20.0F * std::log10(rms)));
}

void AppendSeparator(StationFingerprint& station) {
    uint64_t state = 0x9E3779B97F4A7C15 * (station.words.size() + 1);
    for (size_t i = 0; i < kSeparatorWords; ++i) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        station.words.push_back(static_cast<uint32_t>(state >> 32));
        station.levelsDb.push_back(0);  // no pause
    }
}

}  // namespace

double StationFingerprint::Seconds() const {
    double seconds = 0.0;
    for (const StationSource& source : sources) seconds += source.seconds;
    return seconds;
}

const StationSource& StationFingerprint::SourceOf(size_t word) const {
    const auto after = std::upper_bound(
        sources.begin(), sources.end(), word,
        [](size_t at, const StationSource& source) { return at < source.firstWord; });
    return after == sources.begin() ? sources.front() : *std::prev(after);
}

double StationFingerprint::SecondsWithin(const StationSource& source, double seconds) const {
    return seconds - static_cast<double>(source.firstWord) * kHopSeconds;
}

void AppendSource(const std::string& name, const HeardAudio& heard, ThinAudio sound,
                  StationFingerprint& station) {
    AppendSeparator(station);
    StationSource source;
    source.name = name;
    source.firstWord = station.words.size();
    source.words = heard.words.size();
    source.seconds = static_cast<double>(heard.frames) / kHeardRate;
    station.words.insert(station.words.end(), heard.words.begin(), heard.words.end());
    for (size_t i = 0; i < heard.levels.size(); ++i) {
        const size_t middle = std::min(i + kMiddleWords, heard.levels.size() - 1);
        station.levelsDb.push_back(Db(heard.levels[middle].rms));
    }
    AppendSeparator(station);
    station.sources.push_back(source);
    station.sounds.push_back(std::move(sound));
}

}  // namespace receiver
