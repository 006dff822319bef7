#include "detect/reference_hash.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <fstream>

#include "audio/ffmpeg_streaming_decoder.h"
#include "detect/audio_fingerprinter.h"
#include "detect/fingerprint_stream.h"
#include "detect/mono_mix.h"
#include "platform/text.h"

namespace receiver {

static_assert(std::endian::native == std::endian::little,
              "words are written as they lie in memory");

namespace {

constexpr uint32_t kReadBytes = 65536;

struct FileFormat {
    int32_t sampleRate = kAnalysisRate;
    uint16_t channels = 1;
};

FileFormat FormatOf(CAudioFile& file) {
    const WAVEFORMATEX* format = nullptr;
    if (file.GetFormat(&format) != CAudioFile::kFormatOk || format->nChannels == 0) return {};
    return {static_cast<int32_t>(format->nSamplesPerSec), format->nChannels};
}

// What is there until the end or the first error. A frame that a read cuts is completed by
// the next one.
void AppendWordsOf(CAudioFile& file, uint16_t channels, FingerprintStream& stream,
                   std::vector<uint32_t>& words) {
    const size_t frameBytes = channels * sizeof(int16_t);
    std::vector<std::byte> pcm(frameBytes + kReadBytes);
    std::vector<int16_t> mono(pcm.size() / frameBytes);
    size_t held = 0;
    for (;;) {
        const int32_t read = file.Read(pcm.data() + held, kReadBytes);
        if (read <= 0) return;
        held += static_cast<size_t>(read);
        const size_t frames = held / frameBytes;
        MixToMono(pcm.data(), frames, channels, mono.data());
        stream.AppendWords(mono.data(), frames, words);
        const size_t used = frames * frameBytes;
        std::memmove(pcm.data(), pcm.data() + used, held - used);
        held -= used;
    }
}

}  // namespace

bool FingerprintFile(const std::string& path, std::vector<uint32_t>* words, std::string* message) {
    words->clear();
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(kAnalysisRate);
    decoder.SetOutputBitsPerSample(16);
    if (!decoder.Open(path)) {
        *message = "decode failed (FFmpeg Open)";
        return false;
    }
    const FileFormat format = FormatOf(decoder);
    FingerprintStream stream;
    stream.SetUp(format.sampleRate);
    AppendWordsOf(decoder, format.channels, stream, *words);
    if (stream.SampleCount() == 0) {
        *message = "no audio decoded";
        return false;
    }
    stream.AppendPaddedWords(*words);
    *message = std::to_string(words->size()) + " frames, " + std::to_string(format.channels) +
               " ch @ " + std::to_string(format.sampleRate) + " Hz";
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
