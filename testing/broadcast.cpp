#include "testing/broadcast.h"

#include <cmath>
#include <stdexcept>

#include "audio/ffmpeg_streaming_decoder.h"

namespace receiver {
namespace {

constexpr uint32_t kJingleMs = 1200;
constexpr uint32_t kProgrammeMs = 4000;
constexpr uint32_t kNoiseMs = 1500;

DecodedStream Decode(const std::string& path, uint32_t rate) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(rate);
    decoder.SetOutputBitsPerSample(16);
    const WAVEFORMATEX* format = nullptr;
    if (!decoder.Open(path) || decoder.GetFormat(&format) != CAudioFile::kFormatOk) {
        throw std::runtime_error("cannot decode " + path);
    }
    DecodedStream stream{.channels = format->nChannels, .samples = {}};
    std::vector<int16_t> block(4096u * format->nChannels);
    const auto blockBytes = static_cast<uint32_t>(block.size() * sizeof(int16_t));
    int32_t read = 0;
    while ((read = decoder.Read(block.data(), blockBytes)) > 0) {
        stream.samples.insert(stream.samples.end(), block.begin(), block.begin() + read / 2);
    }
    if (read != 0) throw std::runtime_error("cannot decode all of " + path);
    return stream;
}

}  // namespace

uint64_t Broadcast::SampleOf(size_t frame) const {
    return static_cast<uint64_t>(
        std::llround(static_cast<double>(frame) * kStreamRate / audio.rate));
}

Broadcast MakeBroadcast(int rate, int channels) {
    const size_t noise = FramesOf(rate, kNoiseMs);
    Broadcast broadcast;
    broadcast.startJingle = MakeMusic(1001, rate, channels, FramesOf(rate, kJingleMs));
    broadcast.endJingle = MakeMusic(1002, rate, channels, FramesOf(rate, kJingleMs));
    const TestPcm programme = MakeMusic(1003, rate, channels, FramesOf(rate, kProgrammeMs));
    broadcast.startJingleFrame = noise;
    broadcast.programmeFrame = noise + broadcast.startJingle.Frames();
    broadcast.endJingleFrame = broadcast.programmeFrame + programme.Frames();
    broadcast.tailFrame = broadcast.endJingleFrame + broadcast.endJingle.Frames();
    broadcast.audio =
        Concatenate({MakeNoise(1004, rate, channels, noise), broadcast.startJingle, programme,
                     broadcast.endJingle, MakeNoise(1005, rate, channels, noise)});
    return broadcast;
}

std::vector<int16_t> DecodedStream::Range(uint64_t firstSample, uint64_t endSample) const {
    if (firstSample > endSample || endSample > Frames()) {
        throw std::runtime_error("no samples " + std::to_string(firstSample) + " to " +
                                 std::to_string(endSample) + " of " + std::to_string(Frames()));
    }
    const auto at = [this](uint64_t sample) {
        return samples.begin() + static_cast<std::ptrdiff_t>(sample) * channels;
    };
    return {at(firstSample), at(endSample)};
}

DecodedStream DecodeStream(const std::string& path) {
    return Decode(path, kStreamRate);
}

uint64_t OutroLength(const std::string& referencePath) {
    return 2 * Decode(referencePath, kStreamRate / 2).Frames();
}

std::vector<int16_t> WithFade(std::vector<int16_t> samples, int channels, uint64_t fadeFrames) {
    const uint64_t frames = samples.size() / static_cast<size_t>(channels);
    for (size_t i = 0; i < samples.size(); ++i) {
        const uint64_t remaining = frames - i / static_cast<size_t>(channels) - 1;
        if (remaining >= fadeFrames) continue;
        const int64_t scaled = int64_t{samples[i]} * static_cast<int64_t>(remaining);
        samples[i] = static_cast<int16_t>(scaled / static_cast<int64_t>(fadeFrames));
    }
    return samples;
}

}  // namespace receiver
