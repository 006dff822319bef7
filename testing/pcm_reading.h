// Reads audio files whole, in pieces of any size, for comparison.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "audio/audio_file.h"
#include "testing/audio_generator.h"

namespace receiver {

struct ReadOutcome {
    std::vector<uint8_t> bytes;
    int32_t last = 0;                      // what ended it: 0 or negative
    bool overrun = false;                  // a Read gave more than was asked for
    std::vector<int16_t> Samples() const;  // of 16-bit PCM; an odd byte is left out
};

// Asks for the piece sizes in turn, again and again, until a Read gives no data.
ReadOutcome ReadToEnd(CAudioFile& file, const std::vector<uint32_t>& pieceBytes = {65536});
// Reads until `bytes` are in or a Read gives no data.
ReadOutcome ReadBytes(CAudioFile& file, size_t bytes);

std::vector<uint8_t> BytesOf(const TestPcm& pcm);

// A file of any coding as 16-bit PCM at `rate`, by the receiver's own decoder. Throws
// std::runtime_error with a text that names the file.
TestPcm DecodeFile(const std::string& path, uint32_t rate);

}  // namespace receiver
