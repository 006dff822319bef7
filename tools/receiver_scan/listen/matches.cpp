#include "receiver_scan/listen/matches.h"

#include "detect/reference_matcher.h"

namespace receiver {

std::vector<DetectorMatch> FindMatches(const HeardAudio& heard,
                                       const std::vector<ScanReference>& references) {
    std::vector<ReferenceFingerprint> prints;
    prints.reserve(references.size());
    for (const ScanReference& reference : references) prints.push_back(reference.print);
    std::vector<DetectorMatch> matches;
    ReferenceMatcher matcher(std::move(prints), kBerThreshold,
                             [&](const DetectorMatch& match) { matches.push_back(match); });
    for (size_t i = 0; i < heard.words.size(); ++i) {
        matcher.Push(heard.words[i], heard.frameAt[i], heard.observedAfter[i]);
    }
    if (heard.end != HearingEnd::kSourceFailed) matcher.Flush(heard.frames);
    return matches;
}

}  // namespace receiver
