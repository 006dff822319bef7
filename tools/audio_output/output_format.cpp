#include "audio_output/output_format.h"

#include <algorithm>
#include <stdexcept>

#include "audio/ffmpeg.h"
#include "platform/text.h"

namespace receiver {
namespace {

constexpr EncoderRange kOpusRange = {.leastKbits = 8, .mostKbits = 256};
constexpr EncoderRange kVorbisRange = {.leastKbits = 64, .mostKbits = 192};
constexpr EncoderRange kMp3Range = {
    .leastKbits = 32, .mostKbits = 320, .bestQuality = 0, .worstQuality = 9};
constexpr EncoderRange kAacRange = {.leastKbits = 32, .mostKbits = 320};

// The first format of an extension whose encoder exists is taken. An MP4 file is recorded
// in fragments, so that one that ends suddenly can still be played; its copy is whole.
constexpr OutputFormat kFormats[] = {
    {".wav", "wav", "pcm_s16le", AV_SAMPLE_FMT_S16, 0, 0, "rf64=auto", "rf64=auto"},
    {".flac", "flac", "flac", AV_SAMPLE_FMT_S16, 0, 0, "", ""},
    {".opus", "opus", "libopus", AV_SAMPLE_FMT_S16, 48000, 160000, "", "", kOpusRange},
    {".ogg", "ogg", "libopus", AV_SAMPLE_FMT_S16, 48000, 160000, "", "", kOpusRange},
    {".ogg", "ogg", "libvorbis", AV_SAMPLE_FMT_FLTP, 0, 192000, "", "", kVorbisRange},
    {".mp3", "mp3", "libmp3lame", AV_SAMPLE_FMT_S16P, 0, 256000, "", "", kMp3Range},
    {".m4a", "ipod", "aac", AV_SAMPLE_FMT_FLTP, 0, 256000,
     "movflags=+delay_moov+default_base_moof:frag_duration=5000000", "", kAacRange},
};

// These take 32-bit PCM and store its upper bits.
constexpr OutputFormat kWideFormats[] = {
    {".wav", "wav", "pcm_s24le", AV_SAMPLE_FMT_S32, 0, 0, "rf64=auto", "rf64=auto"},
    {".flac", "flac", "flac", AV_SAMPLE_FMT_S32, 0, 0, "", ""},
};
constexpr OutputFormat kWidestFormat = {".wav", "wav", "pcm_s32le", AV_SAMPLE_FMT_S32,
                                        0,      0,     "rf64=auto", "rf64=auto"};

bool IsAvailable(const OutputFormat& format) {
    return avcodec_find_encoder_by_name(format.encoder) != nullptr &&
           av_guess_format(format.muxer, nullptr, nullptr) != nullptr;
}

bool HasExtension(std::string_view name, std::string_view extension) {
    return name.size() > extension.size() &&
           ToLowerAscii(name.substr(name.size() - extension.size())) == extension;
}

}  // namespace

const OutputFormat& OutputFormatFor(std::string_view fileName) {
    bool known = false;
    for (const OutputFormat& format : kFormats) {
        if (!HasExtension(fileName, format.extension)) continue;
        if (IsAvailable(format)) return format;
        known = true;
    }
    throw std::invalid_argument(
        std::string(known ? "this FFmpeg has no encoder for " : "unknown output format: ") +
        std::string(fileName) + "; supported: " + SupportedExtensions());
}

bool OutputFormat::TakesWidePcm() const {
    return sampleFormat == AV_SAMPLE_FMT_S32;
}

const OutputFormat& LosslessFormatFor(std::string_view fileName, int bits) {
    const bool isWav = HasExtension(fileName, ".wav");
    if (!isWav && !HasExtension(fileName, ".flac")) {
        throw std::invalid_argument(std::string(fileName) + ": only .wav and .flac keep all of it");
    }
    if (bits <= 16) return isWav ? kFormats[0] : kFormats[1];
    if (bits <= 24) return isWav ? kWideFormats[0] : kWideFormats[1];
    if (isWav) return kWidestFormat;
    throw std::invalid_argument(std::string(fileName) +
                                ": FLAC cannot keep 32 bits; take a name in .wav");
}

const OutputFormat& WavFormat() {
    return kFormats[0];
}

std::string SupportedExtensions() {
    std::string list;
    for (const OutputFormat& format : kFormats) {
        if (!IsAvailable(format) || list.find(format.extension) != std::string::npos) continue;
        if (!list.empty()) list += ' ';
        list += format.extension;
    }
    return list;
}

}  // namespace receiver
