#include "receiver_scan/check/reference_measurement.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "audio/ffmpeg_streaming_decoder.h"
#include "audio/mono_resampler.h"
#include "detect/fingerprint_stream.h"
#include "detect/mono_mix.h"
#include "detect/reference_loading.h"
#include "platform/text.h"
#include "wire/messages.h"

namespace receiver {
namespace {

constexpr uint32_t kReadFrames = 8192;
constexpr size_t kHalfHopSamples = 138;
constexpr double kNoiseBelow = 0.01;  // of the loud level: 40 dB
constexpr int kDrainSamples = 4096;

// The small noise of a codec, the same in every run.
class QuietNoise final {
public:
    explicit QuietNoise(double amplitude) : amplitude_(amplitude) {}
    void AddTo(std::vector<int16_t>& samples) {
        for (int16_t& sample : samples) {
            state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
            const double unit = static_cast<double>(state_ >> 11) * 0x1p-52 - 1.0;
            const double noisy = std::nearbyint(sample + amplitude_ * unit);
            sample = static_cast<int16_t>(std::clamp(noisy, -32768.0, 32767.0));
        }
    }

private:
    const double amplitude_;
    uint64_t state_ = 1;
};

// One reading of the file as 16-bit PCM at the stream's rate.
class StreamReading final {
public:
    StreamReading(const std::string& path, const std::function<bool()>& stop) : stop_(stop) {
        std::error_code ignored;
        if (!std::filesystem::is_regular_file(ToFilesystemPath(path), ignored) ||
            !decoder_.Open(path) || (format_ = FormatOf16BitPcm(decoder_)) == nullptr) {
            throw std::runtime_error(kFinishedReferenceOpen);
        }
        chunk_.resize(size_t{kReadFrames} * format_->nBlockAlign);
    }

    // Whole frames; 0 at the end.
    size_t Next() {
        if (stop_ && stop_()) throw std::runtime_error(kFinishedCancelledLoading);
        const int32_t read = decoder_.Read(chunk_.data(), static_cast<uint32_t>(chunk_.size()));
        if (read < 0) throw std::runtime_error(kFinishedReferenceDecode);
        return static_cast<size_t>(read) / format_->nBlockAlign;
    }
    const int16_t* Pcm() const { return reinterpret_cast<const int16_t*>(chunk_.data()); }
    const WAVEFORMATEX& Format() const { return *format_; }

private:
    const std::function<bool()>& stop_;
    CFFmpegStreamingDecoder decoder_;
    const WAVEFORMATEX* format_ = nullptr;
    std::vector<std::byte> chunk_;
};

void MeasureLevels(const std::string& path, std::optional<double> mostSeconds,
                   const std::function<bool()>& stop, ReferenceMeasurement& measured) {
    StreamReading reading(path, stop);
    LevelMeter meter(reading.Format().nSamplesPerSec, reading.Format().nChannels);
    uint64_t frames = 0;
    while (const size_t count = reading.Next()) {
        meter.Add(reading.Pcm(), count);
        frames += count;
        if (mostSeconds &&
            static_cast<double>(frames) > *mostSeconds * reading.Format().nSamplesPerSec) {
            throw std::runtime_error("too long to be measured");
        }
    }
    measured.seconds = static_cast<double>(frames) / reading.Format().nSamplesPerSec;
    measured.levels = meter.Finish();
}

std::vector<uint32_t> WordsAsStreamed(const std::string& path, double noiseAmplitude,
                                      const std::function<bool()>& stop) {
    StreamReading reading(path, stop);
    MonoResampler resampler;
    if (!resampler.Open(reading.Format().nSamplesPerSec, kAnalysisRate)) {
        throw std::runtime_error(kFinishedReferenceDecode);
    }
    FingerprintStream stream;
    stream.SetUp();
    QuietNoise noise(noiseAmplitude);
    std::vector<uint32_t> words;
    std::vector<int16_t> samples(kHalfHopSamples);  // silence: all later words are half a hop off
    stream.AppendWords(samples.data(), samples.size(), words);
    std::vector<int16_t> mono;
    const auto take = [&](int count) {
        samples.resize(static_cast<size_t>(std::max(count, 0)));
        noise.AddTo(samples);
        stream.AppendWords(samples.data(), samples.size(), words);
        return count > 0;
    };
    while (const size_t count = reading.Next()) {
        mono.resize(count);
        MixToMono(reading.Pcm(), count, reading.Format().nChannels, mono.data());
        const int bound = resampler.OutputBound(static_cast<int>(count));
        samples.resize(static_cast<size_t>(std::max(bound, 0)));
        take(resampler.Convert(mono.data(), static_cast<int>(count), samples.data(), bound));
    }
    do {
        samples.resize(kDrainSamples);
    } while (take(resampler.Drain(samples.data(), kDrainSamples)));
    return words;
}

}  // namespace

ReferenceMeasurement MeasureReference(const std::string& path, std::optional<double> mostSeconds,
                                      const std::function<bool()>& stop) {
    ReferenceMeasurement measured;
    measured.path = path;
    try {
        MeasureLevels(path, mostSeconds, stop, measured);
        const double loud = std::pow(10.0, LoudLevelDb(measured.levels) / 20.0) * 32768.0;
        try {
            measured.words = LoadReference(path, stop).words;
        } catch (const std::runtime_error& error) {
            // How short it is has been measured; the findings say so.
            if (std::string(error.what()) != kFinishedReferenceShort) throw;
            return measured;
        }
        measured.streamedWords = WordsAsStreamed(path, loud * kNoiseBelow, stop);
    } catch (const std::exception& error) {
        measured.failure = error.what();
    }
    return measured;
}

}  // namespace receiver
