// Hours of a made-up station, with the truth about what was heard when: songs, some of them
// twice, talk, advertisements, and jingles of 1 to 20 s, played at changing levels, under voices,
// into fading songs, and faded themselves. The same seed gives the same hours.
//
//   Units  times in seconds from the beginning; audio is mono, 44100 Hz, 16 bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace receiver {

inline constexpr int kStationRate = 44100;

enum class HeardKind { kJingle, kAdvertisement, kSong };

// One time that an item was on air.
struct Heard {
    HeardKind kind;
    int item;  // the same number is the same recording
    double start;
    double seconds;
    bool voice;  // somebody speaks over it
    bool faded;  // something else fades out over its beginning, or it is faded out itself
};

struct StationDayPlan {
    uint64_t seed = 1;
    double hours = 1.0;
    int jingles = 12;
    int advertisements = 14;
    double voiceShare = 0.35;      // of the jingles, spoken over
    double voiceDb = -6.0;         // the loudest voice, beside the jingle it is over
    double fadeShare = 0.35;       // of the jingles, faded into or out
    double levelRangeDb = 9.0;     // between the softest and the loudest playing
    double songRepeatShare = 0.3;  // of the songs that were heard before
};

// Hands the audio on as it is made, and returns what was heard, in order. Songs are items, too,
// longer than a minute.
std::vector<Heard> MakeStationDay(const StationDayPlan& plan,
                                  const std::function<void(const std::vector<int16_t>&)>& sink);

}  // namespace receiver
