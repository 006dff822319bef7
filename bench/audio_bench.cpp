// The stages beneath the detector: decoding, and resampling to the analysis rate.
#include <benchmark/benchmark.h>

#include <vector>

#include "audio/ffmpeg_streaming_decoder.h"
#include "audio/mono_resampler.h"
#include "bench_audio.h"
#include "detect/audio_fingerprinter.h"

namespace receiver {
namespace {

void SetAudioRate(benchmark::State& state) {
    state.counters["audio_s/s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * kBenchSeconds, benchmark::Counter::kIsRate);
}

void DecodeMp3(benchmark::State& state) {
    const std::string& path = StreamMp3Path();
    for (auto _ : state) {
        CFFmpegStreamingDecoder decoder;
        if (!decoder.Open(path)) {
            state.SkipWithError("the decoder cannot open its file");
            return;
        }
        ReadStream(decoder);
    }
    SetAudioRate(state);
}
BENCHMARK(DecodeMp3)->Unit(benchmark::kMillisecond);

void Resample(benchmark::State& state) {
    constexpr int kBlock = kReadBytes / (kBenchChannels * sizeof(int16_t));
    const TestPcm mono = MakeMusic(1, kBenchRate, 1, size_t{kBenchRate} * kBenchSeconds);
    std::vector<int16_t> output(2 * kBlock);
    for (auto _ : state) {
        MonoResampler resampler;
        if (!resampler.Open(kBenchRate, kAnalysisRate)) {
            state.SkipWithError("the resampler does not open");
            return;
        }
        for (size_t at = 0; at + kBlock <= mono.Frames(); at += kBlock) {
            benchmark::DoNotOptimize(
                resampler.Convert(mono.samples.data() + at, kBlock, output.data(), 2 * kBlock));
        }
    }
    SetAudioRate(state);
}
BENCHMARK(Resample)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace receiver
