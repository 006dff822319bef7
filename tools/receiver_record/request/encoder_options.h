// How the encoder of the output is set: --bitrate, --quality.
#pragma once

#include <optional>
#include <string>

#include "audio_output/output_format.h"

namespace CLI {
class App;
}

namespace receiver {

// As typed.
struct EncoderValues {
    std::string bitRate = {};
    std::string quality = {};
};

struct EncoderOptions {
    std::optional<int> kbits;
    std::optional<int> quality;
};

// The values outlive the application.
void DeclareEncoder(CLI::App& app, EncoderValues& values);
// Throws std::invalid_argument with a text for people.
EncoderOptions CheckEncoder(const EncoderValues& values);
// What an output's name asks for, "-" for WAV, so set. Throws std::invalid_argument with a text for
// people where the format cannot be, and as OutputFormatFor.
OutputFormat EncoderFormat(const std::string& output, const EncoderOptions& options);

}  // namespace receiver
