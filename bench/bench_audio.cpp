#include "bench_audio.h"

#include <algorithm>

#include "detect/audio_fingerprinter.h"
#include "testing/audio_encoder.h"
#include "testing/memory_audio_file.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kMp3BitRate = 128000;
constexpr int kReferenceSeconds = 30;
constexpr uint64_t kSeed = 2026;

struct Mp3File {
    TempFolder folder;
    std::string path = folder.File("stream.mp3");
    Mp3File() { WriteFileBytes(path, EncodeAudio(StreamPcm(), AudioCoding::kMp3, kMp3BitRate)); }
};

size_t WordsOfReference() {
    CAudioFingerprinter fingerprinter;
    fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    const int64_t last = int64_t{kAnalysisRate} * kReferenceSeconds - fingerprinter.WindowLength();
    size_t words = 0;
    for (FrameClock clock; clock.StartSample() <= last; clock.Advance()) ++words;
    return words;
}

}  // namespace

const TestPcm& StreamPcm() {
    static const TestPcm pcm =
        MakeMusic(kSeed, kBenchRate, kBenchChannels, size_t{kBenchRate} * kBenchSeconds);
    return pcm;
}

const std::string& StreamMp3Path() {
    static const Mp3File file;
    return file.path;
}

std::vector<ReferenceFingerprint> RandomReferences(size_t count) {
    const size_t words = WordsOfReference();
    TestRandom random(kSeed);
    std::vector<ReferenceFingerprint> references(count);
    for (ReferenceFingerprint& reference : references) {
        reference.sampleCount = uint64_t{kAnalysisRate} * kReferenceSeconds;
        for (size_t i = 0; i < words; ++i) {
            reference.words.push_back(static_cast<uint32_t>(random.Next()));
        }
    }
    return references;
}

std::unique_ptr<CAudioFile> MakeStreamFile() {
    auto file = std::make_unique<MemoryAudioFile>(StreamPcm());
    file->repeats = true;
    return file;
}

void ReadStream(CAudioFile& file) {
    std::vector<std::byte> block(kReadBytes);
    for (size_t left = StreamPcm().Bytes(); left > 0;) {
        const auto count = static_cast<uint32_t>(std::min<size_t>(left, kReadBytes));
        const int32_t read = file.Read(block.data(), count);
        if (read <= 0) return;
        left -= static_cast<size_t>(read);
    }
}

}  // namespace receiver
