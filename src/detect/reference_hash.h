// A whole file's fingerprint, for the preparation of reference material.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace receiver {

// Fingerprints every 0.0125 s step of the file, the last frames padded with
// silence (a reference, by contrast, ends with its last whole frame). `message`
// says what was found: "81 frames, 1 ch @ 22050 Hz"; or on false why not:
// "decode failed (FFmpeg Open)" or "no audio decoded". Takes the planner lock.
bool FingerprintFile(const std::string& path, std::vector<uint32_t>* words, std::string* message);

// Writes the words, 4 bytes little-endian each, to path + ".hash", replacing it.
// False also with "cannot open output .hash" or, on a full disk, "cannot write output .hash".
bool DumpReferenceHash(const std::string& path, std::string* message);

}  // namespace receiver
