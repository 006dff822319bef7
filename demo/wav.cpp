#include "wav.h"

#include <array>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "audio/ffmpeg_streaming_decoder.h"

namespace receiver {

void WriteWav(const std::filesystem::path& path, const StereoPcm& pcm) {
    const auto dataBytes = static_cast<uint32_t>(pcm.size() * sizeof(int16_t));
    struct {
        char riff[4] = {'R', 'I', 'F', 'F'};
        uint32_t riffBytes;
        char wave[8] = {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '};
        uint32_t formatBytes = 16;
        uint16_t tag = kFormatTagPcm;
        uint16_t channels = kStudioChannels;
        uint32_t rate = kStudioRate;
        uint32_t bytesPerSecond = kStudioRate * kStudioChannels * 2;
        uint16_t blockAlign = kStudioChannels * 2;
        uint16_t bits = 16;
        char data[4] = {'d', 'a', 't', 'a'};
        uint32_t dataBytes;
    } header;
    static_assert(sizeof(header) == 44);
    header.riffBytes = dataBytes + 36;
    header.dataBytes = dataBytes;

    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(&header), sizeof(header));
    file.write(reinterpret_cast<const char*>(pcm.data()), dataBytes);
    if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

StereoPcm ReadAudio(const std::filesystem::path& path) {
    CFFmpegStreamingDecoder decoder;
    const WAVEFORMATEX* format = nullptr;
    if (!decoder.Open(path.string()) || decoder.GetFormat(&format) != CAudioFile::kFormatOk) {
        throw std::runtime_error("cannot decode " + path.string());
    }
    if (format->nChannels != kStudioChannels) {
        throw std::runtime_error(path.string() + " is not stereo");
    }
    StereoPcm pcm;
    std::array<int16_t, 16384> piece;
    for (;;) {
        const int32_t bytes = decoder.Read(piece.data(), sizeof(piece));
        if (bytes < 0) throw std::runtime_error("cannot read " + path.string());
        if (bytes == 0) return pcm;
        pcm.insert(pcm.end(), piece.begin(), piece.begin() + bytes / 2);
    }
}

}  // namespace receiver
