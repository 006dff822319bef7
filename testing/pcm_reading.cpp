#include "testing/pcm_reading.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "audio/ffmpeg_streaming_decoder.h"

namespace receiver {
namespace {

ReadOutcome Collect(CAudioFile& file, const std::vector<uint32_t>& pieceBytes, size_t most) {
    ReadOutcome outcome;
    for (size_t turn = 0; outcome.bytes.size() < most; ++turn) {
        const auto piece = static_cast<uint32_t>(
            std::min<size_t>(pieceBytes[turn % pieceBytes.size()], most - outcome.bytes.size()));
        std::vector<uint8_t> buffer(piece);
        outcome.last = file.Read(buffer.data(), piece);
        if (outcome.last <= 0) break;
        if (static_cast<uint32_t>(outcome.last) > piece) {
            outcome.overrun = true;
            break;
        }
        outcome.bytes.insert(outcome.bytes.end(), buffer.begin(), buffer.begin() + outcome.last);
    }
    return outcome;
}

}  // namespace

std::vector<int16_t> ReadOutcome::Samples() const {
    std::vector<int16_t> samples(bytes.size() / sizeof(int16_t));
    if (!samples.empty()) {
        std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(int16_t));
    }
    return samples;
}

ReadOutcome ReadToEnd(CAudioFile& file, const std::vector<uint32_t>& pieceBytes) {
    return Collect(file, pieceBytes, std::numeric_limits<size_t>::max());
}

ReadOutcome ReadBytes(CAudioFile& file, size_t bytes) {
    return Collect(file, {65536}, bytes);
}

std::vector<uint8_t> BytesOf(const TestPcm& pcm) {
    std::vector<uint8_t> bytes(pcm.Bytes());
    if (!bytes.empty()) std::memcpy(bytes.data(), pcm.samples.data(), bytes.size());
    return bytes;
}

TestPcm DecodeFile(const std::string& path, uint32_t rate) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(rate);
    decoder.SetOutputBitsPerSample(16);
    const WAVEFORMATEX* format = nullptr;
    if (!decoder.Open(path) || decoder.GetFormat(&format) != CAudioFile::kFormatOk) {
        throw std::runtime_error("cannot decode " + path);
    }
    TestPcm pcm{static_cast<int>(rate), format->nChannels, {}};
    const ReadOutcome outcome = ReadToEnd(decoder);
    if (outcome.last != 0) throw std::runtime_error("cannot decode all of " + path);
    pcm.samples = outcome.Samples();
    return pcm;
}

}  // namespace receiver
