// A reference recording as the detector needs it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace receiver {

struct ReferenceFingerprint {
    uint64_t sampleCount = 0;     // mono samples at 22050 Hz
    std::vector<uint32_t> words;  // one per 0.0125 s
};

// Decodes, mixes to mono and fingerprints a local file. Takes the planner lock.
// Throws std::runtime_error "Reference Open failed" (also for what is no regular
// file), "Reference decode failed", "Reference too short" (fewer than 16 words),
// or "Cancelled during reference loading" once stopRequested (may be empty; asked
// before each read and each word) answers true. However long the file is, only a few
// windows of its audio are held. `path` is in the ANSI code page.
ReferenceFingerprint LoadReference(const std::string& path,
                                   const std::function<bool()>& stopRequested = {});

}  // namespace receiver
