#include "receiver_record/request/encoder_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

namespace receiver {
namespace {

std::optional<int> Number(const std::string& option, const std::string& text,
                          const std::string& digits) {
    if (text.empty()) return {};
    constexpr size_t kMaxDigits = 6;
    if (digits.empty() || digits.size() > kMaxDigits ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
        throw std::invalid_argument(option + ": invalid number \"" + text + "\"");
    }
    return std::stoi(digits);
}

void CheckRange(const std::string& option, int value, int least, int most,
                const OutputFormat& format) {
    if (value >= least && value <= most) return;
    throw std::invalid_argument(option + ": " + std::to_string(value) + " is not between " +
                                std::to_string(least) + " and " + std::to_string(most) +
                                ", which " + format.extension + " can have");
}

}  // namespace

void DeclareEncoder(CLI::App& app, EncoderValues& values) {
    const char* const group = "Output";
    app.add_option("--bitrate", values.bitRate,
                   "kbit/s of .opus and .ogg (default: 160), .mp3 and .m4a (default: 256)")
        ->type_name("NUMBER")
        ->group(group);
    app.add_option("--quality", values.quality,
                   "Instead of a fixed bit rate, for .mp3: 0, the best, to 9")
        ->type_name("NUMBER")
        ->group(group);
}

EncoderOptions CheckEncoder(const EncoderValues& values) {
    const bool endsInK = values.bitRate.ends_with('k') || values.bitRate.ends_with('K');
    EncoderOptions options;
    options.kbits =
        Number("--bitrate", values.bitRate,
               values.bitRate.substr(0, values.bitRate.size() - static_cast<size_t>(endsInK)));
    options.quality = Number("--quality", values.quality, values.quality);
    if (options.kbits && options.quality) {
        throw std::invalid_argument("--bitrate and --quality cannot both be given");
    }
    return options;
}

OutputFormat EncoderFormat(const std::string& output, const EncoderOptions& options) {
    OutputFormat format = output == "-" ? WavFormat() : OutputFormatFor(output);
    const EncoderRange& range = format.range;
    const char* const option = options.kbits ? "--bitrate" : "--quality";
    if ((options.kbits || options.quality) && !range.HasBitRates()) {
        throw std::invalid_argument(std::string(option) + ": " + format.extension +
                                    " keeps every sample as it is");
    }
    if (options.kbits) {
        CheckRange(option, *options.kbits, range.leastKbits, range.mostKbits, format);
        format.bitRate = int64_t{1000} * *options.kbits;
    }
    if (options.quality) {
        if (!range.HasQualities()) {
            throw std::invalid_argument(std::string("--quality: ") + format.extension +
                                        " has none; --bitrate sets how good it is");
        }
        CheckRange(option, *options.quality, std::min(range.bestQuality, range.worstQuality),
                   std::max(range.bestQuality, range.worstQuality), format);
        format.quality = options.quality;
    }
    return format;
}

}  // namespace receiver
