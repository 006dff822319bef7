// Everything that a scan found, for those who write it down. Plain data.
#pragma once

#include <string>
#include <vector>

#include "receiver_scan/listen/near_misses.h"
#include "receiver_scan/listen/programme.h"
#include "receiver_scan/source/heard_audio.h"
#include "receiver_scan/source/reference_audio.h"

namespace receiver {

struct ScanResult {
    std::string source;  // without what is secret in a URL
    HeardAudio heard;
    std::vector<ScanReference> references;
    Judgement judgement;
    std::vector<ReferenceView> views;  // one for each reference
};

inline double SecondsOf(uint64_t frames) {
    return static_cast<double>(frames) / kStreamSampleRate;
}
inline uint64_t MsOf(uint64_t frames) {
    return (frames * 1000 + kStreamSampleRate / 2) / kStreamSampleRate;
}

}  // namespace receiver
