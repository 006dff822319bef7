// Finds a good plan for the fingerprint's transform among those that one set of FFTW's
// codelets allows, and writes it to standard output as FFTW's wisdom:
//   wisdom_maker [sse2] [avx] [avx2]    the sets that FFTW is to believe the processor has
// scripts/make-wisdom builds and runs it; what was measured goes to standard error.
//
// FFTW asks the functions below which sets it may register. They stand here in place of the
// library's own, so that the plans of an older processor can be measured on a newer one.
#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <regex>
#include <string>
#include <vector>

namespace {

constexpr int kSize = 8192;
constexpr int kPlannings = 5;
constexpr int kRounds = 500;
constexpr int kRunsPerRound = 4;

// Of FFTW's own, undocumented flags; the second is the first in the words of wisdom.
constexpr unsigned kNoBuffering = 1U << 11;
constexpr unsigned long kNoBufferingInWisdom = 0x400;

std::vector<std::string> sets;

int Has(const char* set, bool processorHas) {
    return processorHas && std::find(sets.begin(), sets.end(), set) != sets.end();
}

fftw_complex* data;

fftw_plan Plan(unsigned flags) {
    const fftw_plan plan = fftw_plan_dft_1d(kSize, data, data, FFTW_FORWARD, flags);
    if (!plan) {
        std::fputs("wisdom_maker: FFTW makes no plan\n", stderr);
        std::exit(1);
    }
    return plan;
}

fftw_plan PlanAsReceiverDoes(const std::string& wisdom) {
    fftw_forget_wisdom();
    if (!wisdom.empty() && !fftw_import_wisdom_from_string(wisdom.c_str())) {
        std::fputs("wisdom_maker: FFTW refuses its own wisdom\n", stderr);
        std::exit(1);
    }
    return Plan(FFTW_ESTIMATE);
}

std::string Text(char* owned) {
    std::string text = owned;
    std::free(owned);  // FFTW's texts come from malloc, whatever fftw_free does
    return text;
}

std::string Description(fftw_plan plan) {
    return Text(fftw_sprint_plan(plan));
}

// FFTW uses wisdom only where the caller forbids at least what the plan was made without.
std::string WithoutBufferingFlag(const std::string& wisdom) {
    static const std::regex kFlags("( \\d+ )#x([0-9a-f]+) #x([0-9a-f]+)( #x0 )");
    std::string out;
    std::smatch found;
    std::string rest = wisdom;
    while (std::regex_search(rest, found, kFlags)) {
        char flags[64];
        std::snprintf(flags, sizeof(flags), "#x%lx #x%lx",
                      std::stoul(found[2], nullptr, 16) & ~kNoBufferingInWisdom,
                      std::stoul(found[3], nullptr, 16) & ~kNoBufferingInWisdom);
        out += found.prefix().str() + found[1].str() + flags + found[4].str();
        rest = found.suffix().str();
    }
    return out + rest;
}

double MicrosecondsOf(fftw_plan plan) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    for (int run = 0; run < kRunsPerRound; ++run) fftw_execute(plan);
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / kRunsPerRound;
}

double Median(std::vector<double>& times) {
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    return times[times.size() / 2];
}

struct Candidate {
    std::string wisdom;
    fftw_plan plan;
    std::vector<double> times = {};
};

}  // namespace

extern "C" {
int fftw_have_simd_sse2() {
    return Has("sse2", __builtin_cpu_supports("sse2"));
}
int fftw_have_simd_avx() {
    return Has("avx", __builtin_cpu_supports("avx"));
}
int fftw_have_simd_avx2() {
    return Has("avx2", __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"));
}
int fftw_have_simd_avx2_128() {
    return fftw_have_simd_avx2();
}
}

int main(int argc, char** argv) {
    sets.assign(argv + 1, argv + argc);
    data = fftw_alloc_complex(kSize);

    // A plan that works in a buffer allocates it each time that it is executed. Those are
    // left out: the path that the audio takes allocates nothing.
    std::map<std::string, Candidate> candidates;
    for (int i = 0; i < kPlannings; ++i) {
        fftw_forget_wisdom();
        const fftw_plan plan = Plan(FFTW_PATIENT | kNoBuffering);
        const std::string wisdom = WithoutBufferingFlag(Text(fftw_export_wisdom_to_string()));
        const fftw_plan again = PlanAsReceiverDoes(wisdom);
        // Some plans hold parts that FFTW_ESTIMATE forbids, wisdom or not.
        if (Description(again) != Description(plan)) continue;
        candidates.insert({Description(plan), {wisdom, again}});
    }
    if (candidates.empty()) {
        std::fputs("wisdom_maker: FFTW follows none of the plans found\n", stderr);
        return 1;
    }
    Candidate estimated = {"", PlanAsReceiverDoes("")};
    fftw_forget_wisdom();
    Candidate buffered = {"", Plan(FFTW_PATIENT)};

    // In turn, so that all see the same of what else the machine does. The zeros stay zeros.
    std::fill_n(data[0], 2 * kSize, 0.0);
    for (int round = 0; round < kRounds; ++round) {
        for (auto& [description, candidate] : candidates) {
            candidate.times.push_back(MicrosecondsOf(candidate.plan));
        }
        estimated.times.push_back(MicrosecondsOf(estimated.plan));
        buffered.times.push_back(MicrosecondsOf(buffered.plan));
    }

    const std::string* best = nullptr;
    double bestTime = 0.0;
    for (auto& [description, candidate] : candidates) {
        const double time = Median(candidate.times);
        std::fprintf(stderr, "%.1f us\n%s\n", time, description.c_str());
        if (!best || time < bestTime) {
            best = &candidate.wisdom;
            bestTime = time;
        }
    }
    std::fprintf(stderr, "%s: taken %.1f us; FFTW by itself %.1f us; with buffers %.1f us\n",
                 fftw_version, bestTime, Median(estimated.times), Median(buffered.times));
    std::fputs(best->c_str(), stdout);
    return 0;
}
