// What a check says, for people and for programs. Pure.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "receiver_scan/check/ordinary_programme.h"
#include "receiver_scan/check/reference_findings.h"

namespace receiver {

// Lines without their line ends.
std::vector<std::string> CheckLines(const std::vector<ReferenceVerdict>& references,
                                    const std::optional<OrdinaryProgramme>& programme);
// One JSON object a line: one for each reference, and a summary.
std::vector<std::string> CheckJsonLines(const std::vector<ReferenceVerdict>& references,
                                        const std::optional<OrdinaryProgramme>& programme);

}  // namespace receiver
