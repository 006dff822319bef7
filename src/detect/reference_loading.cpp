#include "detect/reference_loading.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "audio/ffmpeg_streaming_decoder.h"
#include "detect/audio_fingerprinter.h"
#include "detect/mono_mix.h"
#include "platform/text.h"

namespace receiver {
namespace {

constexpr uint32_t kReadBytes = 65536;

// Opening a FIFO waits for its writer, and a session would be stuck in it.
bool IsRegularFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(ToFilesystemPath(path), error);
}

std::vector<int16_t> DecodeMono(const std::string& path,
                                const std::function<bool()>& stopRequested) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(kAnalysisRate);
    decoder.SetOutputBitsPerSample(16);
    const WAVEFORMATEX* format = nullptr;
    if (!IsRegularFile(path) || !decoder.Open(path) ||
        decoder.GetFormat(&format) != CAudioFile::kFormatOk) {
        throw std::runtime_error("Reference Open failed");
    }

    std::vector<int16_t> mono;
    std::vector<std::byte> chunk(kReadBytes);
    for (;;) {
        if (stopRequested && stopRequested()) {
            throw std::runtime_error("Cancelled during reference loading");
        }
        const int32_t read = decoder.Read(chunk.data(), kReadBytes);
        if (read < 0) throw std::runtime_error("Reference decode failed");
        if (read == 0) return mono;
        // A chunk that is no whole number of frames loses its last one.
        const size_t frames = static_cast<size_t>(read) / format->nBlockAlign;
        const size_t held = mono.size();
        mono.resize(held + frames);
        MixToMono(chunk.data(), frames, format->nChannels, mono.data() + held);
    }
}

}  // namespace

ReferenceFingerprint LoadReference(const std::string& path,
                                   const std::function<bool()>& stopRequested) {
    const std::vector<int16_t> mono = DecodeMono(path, stopRequested);

    ReferenceFingerprint reference;
    reference.sampleCount = mono.size();
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    const auto window = static_cast<size_t>(fingerprinter.WindowLength());
    FrameClock clock;
    for (auto start = static_cast<size_t>(clock.StartSample()); start + window <= mono.size();
         start = static_cast<size_t>(clock.StartSample())) {
        reference.words.push_back(fingerprinter.ComputeWord(mono.data() + start));
        clock.Advance();
    }
    if (reference.words.size() < kMinReferenceWords) {
        throw std::runtime_error("Reference too short");
    }
    return reference;
}

}  // namespace receiver
