#include "receiver_scan/check/ordinary_programme.h"

#include <algorithm>
#include <cstdio>

#include "command_line/duration.h"
#include "detect/audio_fingerprinter.h"
#include "detect/reference_matcher.h"
#include "receiver_scan/check/word_comparison.h"
#include "receiver_scan/source/heard_audio.h"
#include "receiver_scan/source/opened_source.h"
#include "session/program_end.h"

namespace receiver {
namespace {

HeardAudio HearAll(const std::string& name, const OrdinaryProgress& progress,
                   const StopRequested& stop) {
    const OpenedSource source = OpenSource(name);
    HearingOptions options;
    options.onProgress = [&](uint64_t frames) {
        if (progress) progress(name, frames * 1000 / kStreamSampleRate, source.lengthMs);
    };
    options.stopRequested = stop;
    HeardAudio heard = Hear(*source.file, options);
    if (heard.end == HearingEnd::kStopped) throw Interrupted();
    if (heard.end == HearingEnd::kSourceFailed) {
        throw SourceError(PublicName(name) + ": cannot be read to its end");
    }
    return heard;
}

// As often as the receiver would report it.
void CountMatches(const HeardAudio& heard, const std::vector<ReferenceVerdict>& references,
                  OrdinaryProgramme& programme) {
    std::vector<ReferenceFingerprint> prints;
    std::vector<size_t> indexes;
    for (size_t i = 0; i < references.size(); ++i) {
        const std::vector<uint32_t>& words = references[i].measured.words;
        if (words.size() < kMinReferenceWords) continue;
        prints.push_back({0, words});
        indexes.push_back(i);
    }
    if (prints.empty()) return;
    ReferenceMatcher matcher(std::move(prints), kBerThreshold, [&](const DetectorMatch& match) {
        ++programme.matches[indexes[match.referenceIndex]];
    });
    for (size_t i = 0; i < heard.words.size(); ++i) {
        matcher.Push(heard.words[i], heard.frameAt[i], heard.observedAfter[i]);
    }
    matcher.Flush(heard.frames);
}

void FindNearest(const std::string& name, const HeardAudio& heard,
                 const std::vector<ReferenceVerdict>& references, const StopRequested& stop,
                 OrdinaryProgramme& programme) {
    for (size_t i = 0; i < references.size(); ++i) {
        const std::vector<uint32_t>& words = references[i].measured.words;
        if (words.size() < kMinReferenceWords || words.size() > heard.words.size()) continue;
        const Likeness best = BestPlaceWithin(words, heard.words, stop);
        if (IsStopRequested(stop)) throw Interrupted();
        if (best.ber >= programme.bestBer[i]) continue;
        programme.bestBer[i] = best.ber;
        const uint64_t ms = heard.frameAt[best.word] * 1000 / kStreamSampleRate;
        programme.bestPlace[i] = PublicName(name) + " at " + FormatPosition(ms);
    }
}

}  // namespace

OrdinaryProgramme ListenToProgramme(const std::vector<std::string>& sources,
                                    const std::vector<ReferenceVerdict>& references,
                                    const OrdinaryProgress& progress, const StopRequested& stop) {
    OrdinaryProgramme programme;
    programme.matches.resize(references.size());
    programme.bestBer.resize(references.size(), 1.0);
    programme.bestPlace.resize(references.size());
    for (const std::string& name : sources) {
        const HeardAudio heard = HearAll(name, progress, stop);
        programme.hours += static_cast<double>(heard.frames) / kStreamSampleRate / 3600.0;
        CountMatches(heard, references, programme);
        FindNearest(name, heard, references, stop, programme);
    }
    return programme;
}

void AddOrdinary(const OrdinaryProgramme& programme, std::vector<ReferenceVerdict>& references) {
    for (size_t i = 0; i < references.size(); ++i) {
        const double ber = programme.bestBer[i];
        if (ber > kSafeBer) continue;
        const size_t matches = programme.matches[i];
        char text[400];
        if (matches > 0) {
            std::snprintf(text, sizeof(text),
                          "heard %zu times, %.2f an hour, in the ordinary programme; nearest, with "
                          "%.3f of the bits differing, in %s",
                          matches, static_cast<double>(matches) / programme.hours, ber,
                          programme.bestPlace[i].c_str());
        } else {
            std::snprintf(text, sizeof(text),
                          "the ordinary programme comes as near as %.3f in %s: the margin is %.3f",
                          ber, programme.bestPlace[i].c_str(), ber - kBerThreshold);
        }
        references[i].findings.push_back(
            {FindingKind::kOrdinary, matches > 0 ? Verdict::kUnfit : Verdict::kWeak, ber, text,
             "Choose a part that is played at no other time. If it was on air as a jingle there, "
             "all is well."});
        SortFindings(references[i].findings);
    }
}

}  // namespace receiver
