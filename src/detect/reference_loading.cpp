#include "detect/reference_loading.h"

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "audio/ffmpeg_streaming_decoder.h"
#include "detect/audio_fingerprinter.h"
#include "detect/fingerprint_stream.h"
#include "detect/mono_mix.h"
#include "platform/text.h"
#include "wire/messages.h"

namespace receiver {
namespace {

constexpr uint32_t kReadBytes = 65536;

// Opening a FIFO waits for its writer, and a session would be stuck in it.
bool IsRegularFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(ToFilesystemPath(path), error);
}

[[noreturn]] void ThrowCancelled() {
    throw std::runtime_error(kFinishedCancelledLoading);
}

// Decoded audio is let go of as soon as its words are known: a reference may last for hours.
ReferenceFingerprint FingerprintWhole(CAudioFile& file, const WAVEFORMATEX& format,
                                      const std::function<bool()>& stopRequested) {
    ReferenceFingerprint reference;
    FingerprintStream stream;
    stream.SetUp();
    std::vector<std::byte> chunk(kReadBytes);
    std::vector<int16_t> mono(kReadBytes / format.nBlockAlign);
    for (;;) {
        if (stopRequested && stopRequested()) ThrowCancelled();
        const int32_t read = file.Read(chunk.data(), kReadBytes);
        if (read < 0) throw std::runtime_error(kFinishedReferenceDecode);
        if (read == 0) break;
        // A chunk that is no whole number of frames loses its last one.
        const size_t frames = static_cast<size_t>(read) / format.nBlockAlign;
        MixToMono(chunk.data(), frames, format.nChannels, mono.data());
        if (!stream.AppendWords(mono.data(), frames, reference.words, stopRequested)) {
            ThrowCancelled();
        }
    }
    reference.sampleCount = stream.SampleCount();
    return reference;
}

}  // namespace

ReferenceFingerprint LoadReference(const std::string& path,
                                   const std::function<bool()>& stopRequested) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(kAnalysisRate);
    decoder.SetOutputBitsPerSample(16);
    const WAVEFORMATEX* format = nullptr;
    if (!IsRegularFile(path) || !decoder.Open(path) ||
        decoder.GetFormat(&format) != CAudioFile::kFormatOk) {
        throw std::runtime_error(kFinishedReferenceOpen);
    }
    ReferenceFingerprint reference = FingerprintWhole(decoder, *format, stopRequested);
    if (reference.words.size() < kMinReferenceWords) {
        throw std::runtime_error(kFinishedReferenceShort);
    }
    return reference;
}

}  // namespace receiver
