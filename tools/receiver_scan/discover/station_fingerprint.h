// Hours of a station as words and levels: what discovery looks for repeats in.
//
//   Units    words of 12.5 ms; levels in dB below full scale, one for each word; seconds.
//   Threads  one calls; others compute words meanwhile and have ended on return.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "receiver_scan/discover/thin_audio.h"
#include "receiver_scan/source/heard_audio.h"

namespace receiver {

struct StationSource {
    std::string name;  // as it was given
    size_t firstWord = 0;
    size_t words = 0;
    double seconds = 0.0;
};

struct StationFingerprint {
    std::vector<uint32_t> words;
    std::vector<int8_t> levelsDb;  // -100 for silence
    std::vector<StationSource> sources;
    std::vector<ThinAudio> sounds;  // of each source

    double Seconds() const;  // of all sources
    // Of the source in which the word lies.
    const StationSource& SourceOf(size_t word) const;
    // The position in it of a time that counts from the first word of all.
    double SecondsWithin(const StationSource& source, double seconds) const;
};

// Appends what was heard of a source, and on either side of it some words that are like nothing:
// no repeat reaches over two sources, and one at an edge, where frames are missing, has words.
void AppendSource(const std::string& name, const HeardAudio& heard, ThinAudio sound,
                  StationFingerprint& station);

}  // namespace receiver
