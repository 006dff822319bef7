// A scan's result made by hand: two references in ten seconds, with one match, one near miss,
// and a programme.
#pragma once

#include "receiver_scan/listen/scan_result.h"

namespace receiver {

inline ScanResult SmallResult() {
    constexpr size_t kWords = 800;
    ScanResult result;
    result.source = "aircheck.mp3";
    result.heard.frames = 441000;
    result.heard.channels = 2;
    for (size_t i = 0; i < kWords; ++i) {
        result.heard.words.push_back(static_cast<uint32_t>(i * 2654435761u));
        result.heard.frameAt.push_back(i * 5513 / 10);
        result.heard.observedAfter.push_back(i * 5513 / 10 + 16384);
        result.heard.levels.push_back({0.5f, 0.25f});
    }
    result.references.resize(2);
    result.views.resize(2);
    result.references[0].id = "opening";
    result.references[0].role = ReferenceRole::kStart;
    result.references[1].id = "closing";
    result.references[1].role = ReferenceRole::kEnd;
    for (size_t i = 0; i < 2; ++i) {
        ScanReference& reference = result.references[i];
        reference.path = "/jingles/" + reference.id + ".wav";
        reference.print.sampleCount = 44100;  // 2 s
        reference.print.words.assign(result.heard.words.begin() + 80,
                                     result.heard.words.begin() + 210);
        result.views[i].curve.assign(kWords - 129, 0.5f);
    }
    const DetectorMatch match{0, 44104, 155648, 0.0125};
    result.views[0].curve[80] = 0.0125f;
    result.views[0].best = BestOffset{80, 0.0125};
    result.views[1].curve[400] = 0.21875f;
    result.views[1].best = BestOffset{400, 0.21875};
    NearMiss miss{400, 220520, 0.21875, {}};
    miss.cause.kind = CauseKind::kOtherPart;
    miss.cause.fromSeconds = 0.0;
    miss.cause.toSeconds = 0.5;
    miss.cause.atBeginning = true;
    result.views[1].misses.push_back(miss);
    result.judgement = Judge({match}, result.references, result.heard, ProgrammeLimits{5000, 1000});
    return result;
}

}  // namespace receiver
