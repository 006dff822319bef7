// References held against hours of ordinary programme, in which they should not be heard.
//
//   Threads  one calls; others compute words meanwhile and have ended on return.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "receiver_scan/check/reference_findings.h"
#include "receiver_scan/source/interruption.h"

namespace receiver {

struct OrdinaryProgramme {
    double hours = 0.0;
    // Of each reference, in their order; nothing was heard where there are no words.
    std::vector<size_t> matches;
    std::vector<double> bestBer;
    std::vector<std::string> bestPlace;  // "morning.mp3 at 00:12:03.250"
};

// Told how far it is; may be empty.
using OrdinaryProgress =
    std::function<void(const std::string& source, uint64_t ms, uint64_t total)>;

// Listens to each source to its end. Throws SourceError, which names it, and Interrupted once
// `stop` answers true.
OrdinaryProgramme ListenToProgramme(const std::vector<std::string>& sources,
                                    const std::vector<ReferenceVerdict>& references,
                                    const OrdinaryProgress& progress,
                                    const StopRequested& stop = {});
// Adds what was heard to the findings.
void AddOrdinary(const OrdinaryProgramme& programme, std::vector<ReferenceVerdict>& references);

}  // namespace receiver
