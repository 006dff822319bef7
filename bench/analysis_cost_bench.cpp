// What listening costs beyond the work that cannot be avoided, as a share of that work, all
// measured in one run:
//     floor  = decoding + resampling + transforms by the best plan FFTW finds on this machine
//     beyond = (decoding + detector - floor) / floor
#include <benchmark/benchmark.h>

#include <ctime>
#include <vector>

#include "audio/ffmpeg_streaming_decoder.h"
#include "audio/mono_resampler.h"
#include "bench_audio.h"
#include "detect/audio_fingerprinter.h"
#include "detect/detector_audio_file.h"
#include "planned_transform.h"

namespace receiver {
namespace {

// Processor time, so that a busy machine does not blur the shares.
double SecondsSince(std::clock_t start) {
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

double TimeDecoding() {
    const std::string& path = StreamMp3Path();
    const std::clock_t start = std::clock();
    CFFmpegStreamingDecoder decoder;
    decoder.Open(path);
    ReadStream(decoder);
    return SecondsSince(start);
}

double TimeResampling(const TestPcm& mono) {
    constexpr int kBlock = kReadBytes / (kBenchChannels * sizeof(int16_t));
    std::vector<int16_t> output(2 * kBlock);
    const std::clock_t start = std::clock();
    MonoResampler resampler;
    resampler.Open(kBenchRate, kAnalysisRate);
    for (size_t at = 0; at + kBlock <= mono.Frames(); at += kBlock) {
        resampler.Convert(mono.samples.data() + at, kBlock, output.data(), 2 * kBlock);
    }
    return SecondsSince(start);
}

double TimeTransforms(PlannedTransform& transform) {
    const int64_t last = int64_t{kAnalysisRate} * kBenchSeconds - 1;
    const std::clock_t start = std::clock();
    for (FrameClock clock; clock.StartSample() <= last; clock.Advance()) {
        transform.Execute();
    }
    return SecondsSince(start);
}

double TimeDetector(CDetectorAudioFile& detector) {
    const std::clock_t start = std::clock();
    ReadStream(detector);
    return SecondsSince(start);
}

void AnalysisCost(benchmark::State& state) {
    const TestPcm mono = MakeMusic(1, kBenchRate, 1, size_t{kBenchRate} * kBenchSeconds);
    CDetectorAudioFile detector(
        MakeStreamFile(), RandomReferences(static_cast<size_t>(state.range(0))),
        [](const DetectorMatch&) {}, 0.14);
    double decoding = 0.0;
    double resampling = 0.0;
    double transforms = 0.0;
    double all = 0.0;
    PlannedTransform transform(Planning::kBest);
    TimeDecoding();  // makes the file
    if (!detector.Open("stream")) {
        state.SkipWithError("the detector does not open");
        return;
    }
    TimeDetector(detector);  // until so many words have passed that all can be compared
    for (auto _ : state) {
        decoding += TimeDecoding();
        resampling += TimeResampling(mono);
        transforms += TimeTransforms(transform);
        all += TimeDetector(detector);
    }
    const double floor = decoding + resampling + transforms;
    state.counters["decoding"] = decoding / floor;
    state.counters["resampling"] = resampling / floor;
    state.counters["transforms"] = transforms / floor;
    state.counters["beyond"] = (decoding + all - floor) / floor;
}
BENCHMARK(AnalysisCost)->Arg(1)->Arg(32)->MinTime(3.0)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace receiver
