#include "testing/wav_file.h"

#include <cstdint>
#include <fstream>
#include <stdexcept>

#include "platform/text.h"

namespace receiver {
namespace {

void Append(std::string& bytes, uint64_t value, int count) {
    for (int i = 0; i < count; ++i) bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
}

void AppendSample(std::string& bytes, int16_t sample, int bits) {
    if (bits == 8) {
        Append(bytes, static_cast<uint64_t>((sample >> 8) + 128), 1);
        return;
    }
    Append(bytes, 0, bits / 8 - 2);
    Append(bytes, static_cast<uint16_t>(sample), 2);
}

}  // namespace

std::string WavBytes(const TestPcm& pcm, int bitsPerSample) {
    if (bitsPerSample != 8 && bitsPerSample != 16 && bitsPerSample != 24 && bitsPerSample != 32) {
        throw std::invalid_argument("width of a WAV sample");
    }
    const auto blockAlign = static_cast<uint64_t>(bitsPerSample / 8 * pcm.channels);
    const uint64_t dataBytes = pcm.Frames() * blockAlign;
    std::string bytes = "RIFF";
    bytes.reserve(44 + dataBytes);
    Append(bytes, 36 + dataBytes, 4);
    bytes += "WAVEfmt ";
    Append(bytes, 16, 4);
    Append(bytes, 1, 2);
    Append(bytes, static_cast<uint64_t>(pcm.channels), 2);
    Append(bytes, static_cast<uint64_t>(pcm.rate), 4);
    Append(bytes, static_cast<uint64_t>(pcm.rate) * blockAlign, 4);
    Append(bytes, blockAlign, 2);
    Append(bytes, static_cast<uint64_t>(bitsPerSample), 2);
    bytes += "data";
    Append(bytes, dataBytes, 4);
    for (const int16_t sample : pcm.samples) AppendSample(bytes, sample, bitsPerSample);
    return bytes;
}

void WriteFileBytes(const std::string& path, std::string_view bytes) {
    std::ofstream file(ToFilesystemPath(path), std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw std::runtime_error("cannot write " + path);
}

void WriteWavFile(const std::string& path, const TestPcm& pcm, int bitsPerSample) {
    WriteFileBytes(path, WavBytes(pcm, bitsPerSample));
}

}  // namespace receiver
