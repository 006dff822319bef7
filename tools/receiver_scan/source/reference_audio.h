// The recordings that a scan compares with, as the receiver takes them.
//
//   Units  frames at 44100 Hz.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "detect/reference_loading.h"
#include "session/reference_role.h"

namespace receiver {

struct ScanReference {
    std::string id;
    ReferenceRole role = ReferenceRole::kOther;
    std::string path;
    ReferenceFingerprint print;

    // As long as the receiver holds it to be.
    uint64_t LengthFrames() const { return 2 * print.sampleCount; }
};

// FILE or ID=FILE each, in the order start, end, other, which is that of the receiver. Throws
// std::invalid_argument that says which of them cannot be used, and why.
std::vector<ScanReference> LoadScanReferences(const std::vector<std::string>& starts,
                                              const std::vector<std::string>& ends,
                                              const std::vector<std::string>& others);

// Of one recording: the mono samples at the analysis rate that its fingerprint is made of.
// Throws std::runtime_error as LoadReference.
std::vector<int16_t> LoadReferenceSamples(const std::string& path);

}  // namespace receiver
