// What the receiver's detector reports of audio that was heard. Pure.
#pragma once

#include <vector>

#include "detect/detector_match.h"
#include "receiver_scan/source/heard_audio.h"
#include "receiver_scan/source/reference_audio.h"

namespace receiver {

// In the order in which the receiver tells of them. A source that failed leaves a candidate
// that was still being refined untold, as the receiver does.
std::vector<DetectorMatch> FindMatches(const HeardAudio& heard,
                                       const std::vector<ScanReference>& references);

}  // namespace receiver
