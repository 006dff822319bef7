#include "detect/reference_hash.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <fstream>

#include "audio/ffmpeg_streaming_decoder.h"
#include "detect/audio_fingerprinter.h"
#include "detect/mono_mix.h"
#include "platform/text.h"

namespace receiver {

static_assert(std::endian::native == std::endian::little,
              "words are written as they lie in memory");

namespace {

constexpr uint32_t kReadBytes = 65536;
constexpr size_t kUsualFileBytes = size_t{8} * 1024 * 1024;

struct MonoRecording {
    std::vector<int16_t> samples;
    int32_t sampleRate = kAnalysisRate;
    uint16_t channels = 1;  // of the file
};

// What is there until the end or the first error.
std::vector<std::byte> ReadToEnd(CAudioFile& file) {
    std::vector<std::byte> pcm;
    pcm.reserve(kUsualFileBytes);
    for (;;) {
        const size_t held = pcm.size();
        pcm.resize(held + kReadBytes);
        const int32_t read = file.Read(pcm.data() + held, kReadBytes);
        pcm.resize(held + static_cast<size_t>(read > 0 ? read : 0));
        if (read <= 0) return pcm;
    }
}

bool DecodeWhole(const std::string& path, MonoRecording* recording) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(kAnalysisRate);
    decoder.SetOutputBitsPerSample(16);
    if (!decoder.Open(path)) return false;
    const WAVEFORMATEX* format = nullptr;
    if (decoder.GetFormat(&format) == CAudioFile::kFormatOk && format->nChannels != 0) {
        recording->channels = format->nChannels;
        recording->sampleRate = static_cast<int32_t>(format->nSamplesPerSec);
    }
    const std::vector<std::byte> pcm = ReadToEnd(decoder);
    recording->samples.resize(pcm.size() / sizeof(int16_t) / recording->channels);
    MixToMono(pcm.data(), recording->samples.size(), recording->channels,
              recording->samples.data());
    return true;
}

std::vector<uint32_t> WordsOf(const MonoRecording& recording) {
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(recording.sampleRate, kFrameSeconds, kHopSeconds);
    const auto count = static_cast<int64_t>(recording.samples.size());
    const double duration = static_cast<double>(count) / recording.sampleRate;
    std::vector<uint32_t> words;
    words.reserve(static_cast<size_t>(std::floor(duration / kHopSeconds)) + 8);
    for (FrameClock clock(recording.sampleRate); clock.Seconds() < duration; clock.Advance()) {
        words.push_back(
            fingerprinter.ComputeWord(recording.samples.data(), count, clock.StartSample()));
    }
    return words;
}

}  // namespace

bool FingerprintFile(const std::string& path, std::vector<uint32_t>* words, std::string* message) {
    words->clear();
    MonoRecording recording;
    if (!DecodeWhole(path, &recording)) {
        *message = "decode failed (FFmpeg Open)";
        return false;
    }
    if (recording.samples.empty()) {
        *message = "no audio decoded";
        return false;
    }
    *words = WordsOf(recording);
    *message = std::to_string(words->size()) + " frames, " + std::to_string(recording.channels) +
               " ch @ " + std::to_string(recording.sampleRate) + " Hz";
    return true;
}

bool DumpReferenceHash(const std::string& path, std::string* message) {
    std::vector<uint32_t> words;
    if (!FingerprintFile(path, &words, message)) return false;
    const std::string output = path + ".hash";
    std::ofstream file(ToFilesystemPath(output), std::ios::binary | std::ios::trunc);
    if (!file) {
        *message = "cannot open output .hash";
        return false;
    }
    file.write(reinterpret_cast<const char*>(words.data()),
               static_cast<std::streamsize>(words.size() * sizeof(uint32_t)));
    file.close();
    if (!file) {
        *message = "cannot write output .hash";
        return false;
    }
    *message += " -> " + output;
    return true;
}

}  // namespace receiver
