// The stages of one fingerprint word and one comparison, each by the kernels that this
// processor gets and by the portable ones, as shares of the floor of it all: the transform by
// the best plan that FFTW finds on this machine. Measured in turn within one run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <complex>
#include <functional>
#include <string>
#include <vector>

#include "bench_audio.h"
#include "detect/audio_fingerprinter.h"
#include "detect/fft.h"
#include "detect/kernels.h"
#include "planned_transform.h"

namespace receiver {
namespace {

struct Stage {
    std::string name;
    std::function<void()> run;
    std::vector<double> seconds = {};

    void Measure() {
        constexpr int kRuns = 8;
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < kRuns; ++i) run();
        seconds.push_back(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    double Median() {
        std::nth_element(seconds.begin(), seconds.begin() + seconds.size() / 2, seconds.end());
        return seconds[seconds.size() / 2];
    }
};

// What the stages work on.
struct Frame {
    const TestPcm pcm = MakeMusic(1, kAnalysisRate, 1, kAnalysisRate);
    const std::vector<double> window = std::vector<double>(8192, 0.5);
    std::vector<std::complex<double>> bins = std::vector<std::complex<double>>(8192, {1.0, 1.0});
    const std::vector<uint32_t> reference = RandomReferences(1)[0].words;
    const std::vector<uint32_t> live = std::vector<uint32_t>(reference.size(), 0);
};

void AddStages(std::vector<Stage>& stages, Frame& frame, const Kernels& kernels,
               std::span<const int32_t> edges, const std::string& suffix) {
    stages.push_back({"windowing" + suffix, [&] {
                          kernels.applyWindow(frame.pcm.samples.data(), frame.window.data(), 8192,
                                              frame.bins.data());
                          benchmark::ClobberMemory();
                      }});
    stages.push_back({"energies" + suffix, [&frame, &kernels, edges] {
                          for (size_t band = 0; band + 1 < edges.size(); ++band) {
                              benchmark::DoNotOptimize(kernels.bandEnergy(
                                  frame.bins.data() + edges[band],
                                  static_cast<size_t>(edges[band + 1] - edges[band])));
                          }
                      }});
    // Every bit of a reference of 30 s; a comparison of unlike audio ends after a third.
    stages.push_back({"popcount" + suffix, [&] {
                          benchmark::DoNotOptimize(
                              kernels.differingBits(frame.reference.data(), frame.live.data(),
                                                    frame.reference.size(), UINT64_MAX));
                      }});
}

void Stages(benchmark::State& state) {
    Frame frame;
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    PlannedTransform best(Planning::kBest);
    PlannedTransform unaided(Planning::kUnaided);
    Fft used(8192);
    std::fill_n(used.Data(), 8192, 0.0);

    std::vector<Stage> stages = {{"floor", [&] { best.Execute(); }},
                                 {"transform", [&] { used.Execute(); }},
                                 {"transform_unaided", [&] { unaided.Execute(); }}};
    AddStages(stages, frame, FastestKernels(), fingerprinter.BandEdges(), "");
    AddStages(stages, frame, AvailableKernels().front(), fingerprinter.BandEdges(), "_portable");
    for (auto _ : state) {
        for (Stage& stage : stages) stage.Measure();
    }
    const double floor = stages[0].Median();
    for (size_t i = 1; i < stages.size(); ++i) {
        state.counters[stages[i].name] = stages[i].Median() / floor;
    }
    state.SetLabel(FastestKernels().name);
}
BENCHMARK(Stages)->Iterations(500)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace receiver
