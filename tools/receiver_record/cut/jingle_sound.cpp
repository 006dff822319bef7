#include "receiver_record/cut/jingle_sound.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "audio/ffmpeg_streaming_decoder.h"
#include "detect/mono_mix.h"
#include "platform/text.h"

namespace receiver {
namespace {

constexpr uint32_t kReadBytes = 65536;
constexpr uint32_t kCountingRate = kJingleRate / 2;

struct Decoded {
    uint64_t frames = 0;
    uint32_t rate = 0;
};

using FrameSink = std::function<void(const void* pcm, size_t frames, unsigned channels)>;

// At the file's own rate for a rate of 0.
Decoded Decode(const std::string& path, uint32_t rate, const FrameSink& sink) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(rate);
    decoder.SetOutputBitsPerSample(16);
    const WAVEFORMATEX* format = nullptr;
    if (!decoder.Open(Utf8ToAnsi(path)) || decoder.GetFormat(&format) != CAudioFile::kFormatOk ||
        format->nBlockAlign == 0) {
        throw std::runtime_error("cannot be opened as audio");
    }
    Decoded decoded{.frames = 0, .rate = format->nSamplesPerSec};
    std::vector<std::byte> chunk(kReadBytes);
    for (;;) {
        const int32_t read = decoder.Read(chunk.data(), kReadBytes);
        if (read < 0) throw std::runtime_error("cannot be decoded");
        if (read == 0) return decoded;
        const size_t frames = static_cast<size_t>(read) / format->nBlockAlign;
        if (sink) sink(chunk.data(), frames, format->nChannels);
        decoded.frames += frames;
    }
}

class EndsOf final {
public:
    explicit EndsOf(JingleSound& sound) : sound_(sound) {}

    void Take(const void* pcm, size_t frames, unsigned channels) {
        std::vector<float>& tail = sound_.tail;
        AppendMono(pcm, frames, channels, tail);
        taken_ += frames;
        // Nothing has been dropped before the head is whole.
        if (sound_.head.empty() && taken_ >= kMaxJingleEndFrames) TakeHead();
        if (tail.size() >= 2 * kMaxJingleEndFrames) DropAllButTheEnd();
    }
    void Finish() {
        if (sound_.head.empty()) TakeHead();
        DropAllButTheEnd();
        sound_.tailAt = taken_ - sound_.tail.size();
    }

private:
    void TakeHead() {
        const size_t count = std::min(sound_.tail.size(), kMaxJingleEndFrames);
        sound_.head.assign(sound_.tail.begin(),
                           sound_.tail.begin() + static_cast<std::ptrdiff_t>(count));
    }
    void DropAllButTheEnd() {
        std::vector<float>& tail = sound_.tail;
        if (tail.size() <= kMaxJingleEndFrames) return;
        tail.erase(tail.begin(), tail.end() - static_cast<std::ptrdiff_t>(kMaxJingleEndFrames));
    }

    JingleSound& sound_;
    uint64_t taken_ = 0;
};

}  // namespace

void AppendMono(const void* pcm, size_t frames, unsigned channels, std::vector<float>& mono) {
    std::vector<int16_t> mixed(frames);
    MixToMono(pcm, frames, channels, mixed.data());
    mono.insert(mono.end(), mixed.begin(), mixed.end());
}

JingleSound LoadJingleSound(const std::string& path) {
    JingleSound sound;
    EndsOf ends(sound);
    Decode(path, kJingleRate, [&ends](const void* pcm, size_t frames, unsigned channels) {
        ends.Take(pcm, frames, channels);
    });
    ends.Finish();
    // A resampler keeps its last few samples.
    const Decoded own = Decode(path, 0, nullptr);
    sound.frames = own.rate == 0 ? 0 : (own.frames * kJingleRate + own.rate / 2) / own.rate;
    sound.countedAs = 2 * Decode(path, kCountingRate, nullptr).frames;
    return sound;
}

}  // namespace receiver
