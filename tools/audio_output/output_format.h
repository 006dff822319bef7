// Which container and encoder an output file's name asks for. Pure but for the
// question which encoders the FFmpeg at hand has.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace receiver {

// What a lossy encoder may be asked for: kbit/s that it takes at every rate of 44.1 kHz and more,
// with one channel and with two; and qualities as it counts them. None where both are 0.
struct EncoderRange {
    int leastKbits = 0;
    int mostKbits = 0;
    int bestQuality = 0;
    int worstQuality = 0;

    bool HasBitRates() const { return mostKbits != 0; }
    bool HasQualities() const { return bestQuality != worstQuality; }
};

struct OutputFormat {
    const char* extension;  // lower case, with the dot
    const char* muxer;
    const char* encoder;
    int sampleFormat;          // AVSampleFormat
    uint32_t sampleRate;       // Hz; 0 keeps the programme's
    int64_t bitRate;           // bit/s; 0 for lossless ones
    const char* muxerOptions;  // while recording: "key=value:key=value" or empty
    const char* copyOptions;   // for the copy of a whole recording, likewise
    EncoderRange range = {};
    std::optional<int> quality = {};  // in place of the bit rate

    bool TakesWidePcm() const;  // the encoder is given 32-bit PCM, otherwise 16-bit PCM
};

// By the file name's extension, of any case. Throws std::invalid_argument with a text
// for people when no format has it or FFmpeg lacks the encoder.
const OutputFormat& OutputFormatFor(std::string_view fileName);
const OutputFormat& WavFormat();
// WAV or FLAC that keeps every one of 16, 24 or 32 bits, by the extension. Throws
// std::invalid_argument with a text for people for another extension, and where the format
// cannot keep so many.
const OutputFormat& LosslessFormatFor(std::string_view fileName, int bits);
// The extensions that can be written here, as ".wav .flac ...".
std::string SupportedExtensions();

}  // namespace receiver
