// A reference recording of arbitrary bytes: refused for one of the reasons there are, or words
// for all of its audio, the same that its hash file has, and a stop ends the loading wherever
// it is asked for.
#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "audio/ffmpeg_streaming_decoder.h"
#include "detect/audio_fingerprinter.h"
#include "detect/reference_hash.h"
#include "detect/reference_loading.h"
#include "fuzz.h"
#include "fuzz/input_file.h"
#include "wire/messages.h"

namespace receiver {
namespace {

// A few bytes may decode to hours; what is looked at is enough for a minute.
constexpr size_t kMaxAsked = 5000;
constexpr size_t kReadBytes = 65536;  // of the loading

struct Loading {
    ReferenceFingerprint reference;
    std::string refusal;  // empty when it was loaded
    size_t asked = 0;     // for the stop
};

Loading Load(const std::string& path, size_t stopAt) {
    Loading loading;
    try {
        loading.reference = LoadReference(path, [&] { return ++loading.asked == stopAt; });
    } catch (const std::runtime_error& error) {
        loading.refusal = error.what();
        Expect(!loading.refusal.empty());
    }
    return loading;
}

// By the grid of the frames: every one that lies within the audio.
size_t WholeFrames(uint64_t samples) {
    size_t frames = 0;
    for (FrameClock clock; static_cast<uint64_t>(clock.StartSample()) + 8192 <= samples;) {
        ++frames;
        clock.Advance();
    }
    return frames;
}

// Zero when the decoder does not take the file.
size_t FrameBytesOf(const std::string& path) {
    CFFmpegStreamingDecoder decoder;
    decoder.SetOutputSampleRate(kAnalysisRate);
    decoder.SetOutputBitsPerSample(16);
    const WAVEFORMATEX* format = nullptr;
    if (!decoder.Open(path) || decoder.GetFormat(&format) != CAudioFile::kFormatOk) return 0;
    return format->nBlockAlign;
}

void ExpectTheWordsOfTheHash(const std::string& path, const ReferenceFingerprint& reference) {
    const size_t frameBytes = FrameBytesOf(path);
    Expect(frameBytes > 0);
    if (kReadBytes % frameBytes != 0) return;  // a reference loses the frames that reads cut
    std::vector<uint32_t> words;
    std::string message;
    Expect(FingerprintFile(path, &words, &message));
    Expect(words.size() >= reference.words.size());
    Expect(std::equal(reference.words.begin(), reference.words.end(), words.begin()));
}

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    static const InputFile file;
    file.Write(data, size);
    const Loading loading = Load(file.Path(), kMaxAsked);
    if (loading.refusal == kFinishedCancelledLoading) {
        Expect(loading.asked == kMaxAsked);
        return 0;
    }
    if (loading.refusal.empty()) {
        Expect(loading.reference.words.size() >= kMinReferenceWords);
        Expect(loading.reference.words.size() == WholeFrames(loading.reference.sampleCount));
        ExpectTheWordsOfTheHash(file.Path(), loading.reference);
    } else {
        Expect(loading.refusal == kFinishedReferenceOpen ||
               loading.refusal == kFinishedReferenceDecode ||
               loading.refusal == kFinishedReferenceShort);
        const bool opens = FrameBytesOf(file.Path()) > 0;
        Expect(opens == (loading.refusal != kFinishedReferenceOpen));
    }
    if (loading.asked == 0) return 0;
    const size_t stopAt = 1 + size % loading.asked;
    const Loading stopped = Load(file.Path(), stopAt);
    Expect(stopped.refusal == kFinishedCancelledLoading && stopped.asked == stopAt);
    return 0;
}
