#include "receiver_scan/source/reference_audio.h"

#include <cstddef>
#include <stdexcept>

#include "audio/ffmpeg_streaming_decoder.h"
#include "detect/audio_fingerprinter.h"
#include "detect/mono_mix.h"
#include "references/reference_list.h"
#include "wire/messages.h"
#include "wire/prepare_limits.h"

namespace receiver {
namespace {

constexpr uint32_t kReadBytes = 65536;

ReferenceRole RoleOf(Role role) {
    switch (role) {
        case Role::kStart:
            return ReferenceRole::kStart;
        case Role::kEnd:
            return ReferenceRole::kEnd;
        case Role::kOther:
            break;
    }
    return ReferenceRole::kOther;
}

std::string WhyNot(const std::string& failure) {
    if (failure == kFinishedReferenceOpen) return "it is missing, or nothing that FFmpeg can read";
    if (failure == kFinishedReferenceDecode) return "it cannot be decoded";
    if (failure == kFinishedReferenceShort) {
        return "it is too short; the receiver needs more than half a second";
    }
    return failure;
}

}  // namespace

std::vector<ScanReference> LoadScanReferences(const std::vector<std::string>& starts,
                                              const std::vector<std::string>& ends,
                                              const std::vector<std::string>& others) {
    const std::vector<Reference> named = MakeReferences(starts, ends, others);
    if (named.size() > kMaxReferences) {
        throw std::invalid_argument("too many recordings to listen for; at most " +
                                    std::to_string(kMaxReferences) + " are possible");
    }
    std::vector<ScanReference> references;
    for (const Reference& reference : named) {
        try {
            references.push_back({reference.id, RoleOf(reference.role), reference.path,
                                  LoadReference(reference.path)});
        } catch (const std::runtime_error& error) {
            throw std::invalid_argument(reference.path + ": " + WhyNot(error.what()));
        }
    }
    return references;
}

std::vector<int16_t> LoadReferenceSamples(const std::string& path) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(kAnalysisRate);
    decoder.SetOutputBitsPerSample(16);
    const WAVEFORMATEX* format = nullptr;
    if (!decoder.Open(path) || decoder.GetFormat(&format) != CAudioFile::kFormatOk) {
        throw std::runtime_error(kFinishedReferenceOpen);
    }
    std::vector<int16_t> samples;
    std::vector<std::byte> chunk(kReadBytes);
    for (;;) {
        const int32_t read = decoder.Read(chunk.data(), kReadBytes);
        if (read < 0) throw std::runtime_error(kFinishedReferenceDecode);
        if (read == 0) return samples;
        const size_t frames = static_cast<size_t>(read) / format->nBlockAlign;
        samples.resize(samples.size() + frames);
        MixToMono(chunk.data(), frames, format->nChannels,
                  samples.data() + samples.size() - frames);
    }
}

}  // namespace receiver
