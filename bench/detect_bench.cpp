// The detector and its steps. One step stands for one hop of audio.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench_audio.h"
#include "detect/audio_fingerprinter.h"
#include "detect/detector_audio_file.h"
#include "detect/fft.h"
#include "detect/hamming.h"
#include "detect/reference_matcher.h"

namespace receiver {
namespace {

constexpr double kThreshold = 0.14;

void SetAudioRate(benchmark::State& state, double secondsPerIteration) {
    state.counters["audio_s/s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * secondsPerIteration, benchmark::Counter::kIsRate);
}

void Transform(benchmark::State& state) {
    Fft fft(8192);
    std::fill_n(fft.Data(), 8192, 0.0);
    for (auto _ : state) fft.Execute();
    SetAudioRate(state, kHopSeconds);
}
BENCHMARK(Transform)->Unit(benchmark::kMicrosecond);

void FingerprintWord(benchmark::State& state) {
    const TestPcm pcm = MakeMusic(1, kAnalysisRate, 1, kAnalysisRate);
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    const size_t starts = pcm.Frames() - fingerprinter.WindowLength();
    size_t start = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(fingerprinter.ComputeWord(pcm.samples.data() + start));
        start = (start + 276) % starts;
    }
    SetAudioRate(state, kHopSeconds);
}
BENCHMARK(FingerprintWord)->Unit(benchmark::kMicrosecond);

void MatchStep(benchmark::State& state) {
    const auto references = RandomReferences(static_cast<size_t>(state.range(0)));
    uint64_t matches = 0;
    ReferenceMatcher matcher(references, kThreshold, [&](const DetectorMatch&) { ++matches; });
    TestRandom random(3);
    uint64_t sample = 0;
    const auto push = [&] { matcher.Push(static_cast<uint32_t>(random.Next()), ++sample, 0); };
    for (size_t i = 0; i < references[0].words.size(); ++i) push();
    for (auto _ : state) push();
    if (matches != 0) state.SkipWithError("noise was taken for a reference");
    SetAudioRate(state, kHopSeconds);
}
BENCHMARK(MatchStep)->Arg(1)->Arg(32)->Unit(benchmark::kMicrosecond);

// Every bit counted: a stream that stays just within what the threshold lets pass.
void MatchStepWithoutEarlyExit(benchmark::State& state) {
    const auto references = RandomReferences(1);
    const std::vector<uint32_t>& words = references[0].words;
    std::vector<uint32_t> live = words;
    for (uint32_t& word : live) word ^= 0xF;
    const uint64_t limit = words.size() * 4;
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i) {
            benchmark::DoNotOptimize(DifferingBits(words.data(), live.data(), words.size(), limit));
        }
    }
    SetAudioRate(state, kHopSeconds);
}
BENCHMARK(MatchStepWithoutEarlyExit)->Arg(1)->Arg(32)->Unit(benchmark::kMicrosecond);

void DetectorRead(benchmark::State& state) {
    CDetectorAudioFile detector(
        MakeStreamFile(), RandomReferences(static_cast<size_t>(state.range(0))),
        [](const DetectorMatch&) {}, kThreshold);
    if (!detector.Open("stream")) {
        state.SkipWithError("the detector does not open");
        return;
    }
    ReadStream(detector);  // until so many words have passed that all can be compared
    for (auto _ : state) ReadStream(detector);
    SetAudioRate(state, kBenchSeconds);
}
BENCHMARK(DetectorRead)->Arg(1)->Arg(32)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace receiver
