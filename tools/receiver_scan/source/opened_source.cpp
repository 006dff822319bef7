#include "receiver_scan/source/opened_source.h"

#include "audio/ffmpeg_network_audio_file.h"
#include "audio/ffmpeg_streaming_decoder.h"
#include "audio/standard_input_audio_file.h"
#include "session/program_end.h"

namespace receiver {
namespace {

const char* WhyNot(uint32_t decoderError) {
    switch (decoderError) {
        case kDecoderErrorOpen:
            return "it is missing, or nothing that FFmpeg can read";
        case kDecoderErrorNoAudio:
            return "there is no audio in it";
        case kDecoderErrorCodec:
        case kDecoderErrorCodecOpen:
            return "FFmpeg has no decoder for it";
        default:
            return "it cannot be decoded";
    }
}

template <class Decoder>
std::unique_ptr<CAudioFile> Opened(std::unique_ptr<Decoder> decoder, const std::string& source) {
    decoder->SetOutputSampleRate(kStreamSampleRate);
    decoder->SetOutputBitsPerSample(16);
    if (!decoder->Open(source)) {
        throw SourceError("cannot open " + PublicName(source) + ": " +
                          WhyNot(decoder->ErrorCode()));
    }
    return decoder;
}

}  // namespace

bool IsUrl(const std::string& source) {
    return source.starts_with("http://") || source.starts_with("https://");
}

bool IsStandardInput(const std::string& source) {
    return source == "-";
}

std::string PublicName(const std::string& source) {
    if (IsStandardInput(source)) return "standard input";
    if (!IsUrl(source)) return source;
    const std::string bare = source.substr(0, source.find_first_of("?#"));
    const size_t host = bare.find("://") + 3;
    const size_t path = bare.find('/', host);
    const size_t at = bare.substr(0, path).rfind('@');
    return at == std::string::npos ? bare : bare.substr(0, host) + bare.substr(at + 1);
}

OpenedSource OpenSource(const std::string& source, uint32_t ioTimeoutMs) {
    OpenedSource opened;
    if (IsUrl(source)) {
        opened.file =
            Opened(std::make_unique<CFFmpegNetworkAudioFile>(nullptr, ioTimeoutMs), source);
        opened.isLive = true;
    } else if (IsStandardInput(source)) {
        opened.file = Opened(std::make_unique<StandardInputAudioFile>(), source);
    } else {
        opened.file = Opened(std::make_unique<CFFmpegStreamingDecoder>(), source);
        AudioFileInfo info{};
        if (opened.file->GetInfo(&info)) {
            opened.lengthMs = 1000ULL * info.wholeSeconds + info.milliseconds;
        }
    }
    return opened;
}

}  // namespace receiver
