// What the detector can hear and what not: jingles on the air in many conditions, and how far
// their bit error rate gets. Prints a table in Markdown; the same in every run.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "detect/detector_match.h"
#include "receiver_scan/listen/near_misses.h"
#include "receiver_scan/source/heard_audio.h"
#include "receiver_scan/source/opened_source.h"
#include "testing/audio_encoder.h"
#include "testing/sound_effects.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;
constexpr uint64_t kJingles = 10;
constexpr size_t kBefore = 2 * kRate + 4711;  // of other music, at no round place

// Made once: that takes longer than all the rest.
const TestPcm& Made(TestPcm (*make)(uint64_t, int, int, size_t), uint64_t seed, size_t frames) {
    using Key = std::tuple<decltype(make), uint64_t, size_t>;
    static std::map<Key, TestPcm> made;
    const auto [at, isNew] = made.try_emplace(Key(make, seed, frames));
    if (isNew) at->second = make(seed, kRate, 1, frames);
    return at->second;
}

struct Condition {
    const char* name;
    std::function<TestPcm(const TestPcm&)> onAir;
    AudioCoding coding = AudioCoding::kWav;
    int bitRate = 0;
};

TestPcm Unchanged(const TestPcm& pcm) {
    return pcm;
}

Condition Coded(const char* name, AudioCoding coding, int bitRate) {
    return {name, Unchanged, coding, bitRate};
}

Condition Level(const char* name, double db) {
    return {name, [db](const TestPcm& pcm) { return Amplified(pcm, db); }};
}

// So much louder than the jingle, on average.
double LevelDifference(const TestPcm& a, const TestPcm& b) {
    const auto energy = [](const TestPcm& pcm) {
        double sum = 1.0;
        for (const int16_t sample : pcm.samples) sum += static_cast<double>(sample) * sample;
        return sum / static_cast<double>(pcm.samples.size());
    };
    return 10.0 * std::log10(energy(a) / energy(b));
}

Condition Under(const char* name, double db, TestPcm (*make)(uint64_t, int, int, size_t),
                double part = 1.0) {
    return {name, [=](const TestPcm& pcm) {
                const TestPcm& over = Made(make, 31 + pcm.Frames() % 7, pcm.Frames());
                const auto at =
                    static_cast<size_t>((1.0 - part) * static_cast<double>(pcm.Frames()));
                return MixedAt(pcm, over, at, LevelDifference(pcm, over) + db);
            }};
}

Condition Speed(const char* name, double percent) {
    return {name, [percent](const TestPcm& pcm) { return AtSpeed(pcm, 1.0 + percent / 100.0); }};
}

// A line that passes only this, with a noise of its own 40 dB below.
Condition Line(const char* name, double lowHz, double highHz) {
    return {name, [=](const TestPcm& pcm) {
                TestPcm filtered = highHz > 0 ? LowPassed(pcm, highHz) : pcm;
                if (lowHz > 0) filtered = HighPassed(filtered, lowHz);
                const TestPcm noise = MakeNoise(5, pcm.rate, pcm.channels, pcm.Frames());
                return MixedAt(filtered, noise, 0, LevelDifference(pcm, noise) - 40.0);
            }};
}

std::vector<Condition> Conditions() {
    return {
        {"as it is", Unchanged},
        Coded("MP3, 128 kbit/s", AudioCoding::kMp3, 128000),
        Coded("MP3, 64 kbit/s", AudioCoding::kMp3, 64000),
        Coded("MP3, 32 kbit/s", AudioCoding::kMp3, 32000),
        Coded("AAC, 128 kbit/s", AudioCoding::kAacAdts, 128000),
        Coded("AAC, 48 kbit/s", AudioCoding::kAacAdts, 48000),
        Coded("Opus, 64 kbit/s", AudioCoding::kOggOpus, 64000),
        Coded("Opus, 16 kbit/s", AudioCoding::kOggOpus, 16000),
        Level("20 dB quieter", -20),
        Level("50 dB quieter", -50),
        Level("12 dB louder, clipped", 12),
        Under("a voice over it, 18 dB below", -18, MakeVoice),
        Under("a voice over it, 12 dB below", -12, MakeVoice),
        Under("a voice over it, 6 dB below", -6, MakeVoice),
        Under("a voice over it, as loud", 0, MakeVoice),
        Under("a voice over its last quarter, 6 dB above", 6, MakeVoice, 0.25),
        Under("a voice over its last half, 6 dB above", 6, MakeVoice, 0.5),
        Under("music under it, 12 dB below", -12, MakeTune),
        Under("music under it, 6 dB below", -6, MakeTune),
        Under("music under it, as loud", 0, MakeTune),
        Speed("0.2 % faster", 0.2),
        Speed("0.5 % faster", 0.5),
        Speed("1 % faster", 1),
        Speed("2 % slower", -2),
        Line("a telephone line, 300 to 3400 Hz", 300, 3400),
        Line("low-pass at 1500 Hz", 0, 1500),
        Line("low-pass at 800 Hz", 0, 800),
        Line("high-pass at 600 Hz", 600, 0),
        {"its first tenth cut off",
         [](const TestPcm& pcm) {
             const size_t cut = pcm.Frames() / 10;
             return Concatenate({Made(MakeTune, 77, cut), Slice(pcm, cut, pcm.Frames() - cut)});
         }},
        {"its first third cut off",
         [](const TestPcm& pcm) {
             const size_t cut = pcm.Frames() / 3;
             return Concatenate({Made(MakeTune, 77, cut), Slice(pcm, cut, pcm.Frames() - cut)});
         }},
    };
}

double LowestBer(const TempFolder& folder, uint64_t seed, double seconds,
                 const Condition& condition) {
    const auto frames = static_cast<size_t>(seconds * kRate);
    const TestPcm& jingle = Made(MakeTune, seed, frames);
    const TestPcm air = Concatenate({Made(MakeTune, seed + 500, kBefore), condition.onAir(jingle),
                                     Made(MakeTune, seed + 900, kRate)});
    WriteWavFile(folder.File("jingle.wav"), jingle);
    WriteFileBytes(folder.File("air"), EncodeAudio(air, condition.coding, condition.bitRate));
    const OpenedSource source = OpenSource(folder.File("air"));
    const HeardAudio heard = Hear(*source.file);
    const ScanReference reference = LoadScanReferences({folder.File("jingle.wav")}, {}, {})[0];
    return FindBest(heard.words, reference.print.words, 0, heard.words.size()).ber;
}

std::string Column(const TempFolder& folder, double seconds, const Condition& condition) {
    std::vector<double> rates;
    for (uint64_t seed = 1; seed <= kJingles; ++seed) {
        rates.push_back(LowestBer(folder, seed, seconds, condition));
    }
    std::sort(rates.begin(), rates.end());
    const auto heard = std::count_if(rates.begin(), rates.end(),
                                     [](double rate) { return rate <= kBerThreshold; });
    char text[64];
    std::snprintf(text, sizeof(text), " %ld of %zu, %.2f to %.2f |", static_cast<long>(heard),
                  rates.size(), rates.front(), rates.back());
    return text;
}

}  // namespace
}  // namespace receiver

int main() {
    using namespace receiver;
    const TempFolder folder;
    std::printf("| on the air | jingle of 1.5 s | of 4 s | of 10 s |\n|---|---|---|---|\n");
    for (const Condition& condition : Conditions()) {
        std::string row = std::string("| ") + condition.name + " |";
        for (const double seconds : {1.5, 4.0, 10.0}) row += Column(folder, seconds, condition);
        std::printf("%s\n", row.c_str());
        std::fflush(stdout);
    }
}
