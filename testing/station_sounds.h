// The sounds of a made-up station: speech, songs and jingles, made by arithmetic alone. The same
// seed gives the same sound. Private to the station's making.
//
//   Units  mono at kStationRate; full scale is 1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace receiver {

using StationSound = std::vector<float>;

// Voiced and unvoiced sounds with moving formants, in syllables, words and sentences.
StationSound MakeSpeech(uint64_t seed, double seconds);
// A tune of chords, melody, bass and drums in bars that are never quite the same.
StationSound MakeSong(uint64_t seed, double seconds);
// A short, dense tune with effects, which begins and ends at once.
StationSound MakeJingle(uint64_t seed, double seconds);
// Speech over a soft song.
StationSound MakeAdvertisement(uint64_t seed, double seconds);

double PowerOf(const StationSound& sound);
void Scale(StationSound& sound, double factor);

}  // namespace receiver
