#include "receiver_scan/source/heard_audio.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <thread>

#include "audio/mono_resampler.h"
#include "detect/audio_fingerprinter.h"
#include "detect/detector_audio_file.h"
#include "detect/mono_mix.h"
#include "receiver_scan/source/opened_source.h"
#include "receiver_scan/source/word_factory.h"
#include "session/program_end.h"
#include "wire/prepare_limits.h"

namespace receiver {
namespace {

constexpr int kDrainSamples = 4096;
constexpr size_t kPiecesPerThread = 3;
constexpr uint16_t kMaxChannels = 8;  // of the detector

unsigned CoresOr1() {
    return std::max(1u, std::thread::hardware_concurrency());
}

// Mono samples at the analysis rate, cut into pieces for the factory.
class PieceCutter {
public:
    PieceCutter(HeardAudio& heard, const HearingOptions& options)
        : heard_(heard),
          pieceWords_(std::max<size_t>(options.pieceWords, 1)),
          threads_(options.threads != 0 ? options.threads : CoresOr1()),
          factory_(threads_) {
        CAudioFingerprinter fingerprinter;
        fingerprinter.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
        window_ = fingerprinter.WindowLength();
        piece_.beginsStream = true;
    }

    // `framesRead` is the source's count after the block that these are of.
    void Append(const int16_t* samples, size_t count, uint64_t framesRead) {
        held_.insert(held_.end(), samples, samples + count);
        while (clock_.StartSample() + window_ <= heldStart_ + held_.size()) TakeFrame(framesRead);
    }

    void Finish() {
        Submit();
        while (factory_.PiecesInside() > 0) TakeWords();
    }

private:
    void TakeFrame(uint64_t framesRead) {
        const auto start = static_cast<uint64_t>(clock_.StartSample());
        clock_.Advance();
        starts_.push_back(start);
        heard_.frameAt.push_back(SourceSample(kStreamSampleRate, start));
        heard_.observedAfter.push_back(framesRead);
        heard_.levels.push_back(LevelOf(start, static_cast<uint64_t>(clock_.StartSample())));
        if (starts_.size() >= pieceWords_ + (piece_.beginsStream ? 0 : 1)) Submit();
    }

    WordLevel LevelOf(uint64_t from, uint64_t to) const {
        int peak = 0;
        double squares = 0.0;
        for (uint64_t i = from - heldStart_; i < to - heldStart_; ++i) {
            peak = std::max(peak, std::abs(static_cast<int>(held_[i])));
            squares += static_cast<double>(held_[i]) * held_[i];
        }
        const double mean = squares / static_cast<double>(std::max<uint64_t>(to - from, 1));
        return {static_cast<float>(peak / 32768.0), static_cast<float>(std::sqrt(mean) / 32768.0)};
    }

    void Submit() {
        if (starts_.empty()) return;
        const uint64_t last = starts_.back();
        const uint64_t first = starts_.front();
        const auto from = held_.begin() + static_cast<ptrdiff_t>(first - heldStart_);
        piece_.samples.assign(from, from + static_cast<ptrdiff_t>(last - first + window_));
        for (const uint64_t start : starts_) piece_.frameStarts.push_back(start - first);
        factory_.Submit(std::move(piece_));
        // The next piece needs this one's last frame before its own.
        piece_ = {};
        starts_.assign(1, last);
        held_.erase(held_.begin(), held_.begin() + static_cast<ptrdiff_t>(last - heldStart_));
        heldStart_ = last;
        while (factory_.PiecesInside() > kPiecesPerThread * threads_) TakeWords();
    }

    void TakeWords() {
        const std::vector<uint32_t> words = factory_.Take();
        heard_.words.insert(heard_.words.end(), words.begin(), words.end());
    }

    HeardAudio& heard_;
    const size_t pieceWords_;
    const unsigned threads_;
    WordFactory factory_;
    uint64_t window_ = 0;
    FrameClock clock_;
    std::vector<int16_t> held_;  // from sample heldStart_ on
    uint64_t heldStart_ = 0;
    std::vector<uint64_t> starts_;  // of the frames of the piece that is being cut
    WordPiece piece_;
};

class Hearing {
public:
    Hearing(CAudioFile& file, const HearingOptions& options, HeardAudio& heard)
        : file_(file), options_(options), heard_(heard), cutter_(heard, options) {
        const WAVEFORMATEX* format = FormatOf16BitPcm(file);
        if (!format || format->nChannels < 1 || format->nChannels > kMaxChannels ||
            format->nSamplesPerSec != kStreamSampleRate ||
            !resampler_.Open(kStreamSampleRate, kAnalysisRate)) {
            throw SourceError("the receiver takes 1 to 8 channels");
        }
        heard_.channels = format->nChannels;
        frameBytes_ = format->nBlockAlign;
    }

    void Run() {
        heard_.end = ReadAll();
        if (heard_.end != HearingEnd::kSourceFailed) Drain();
        cutter_.Finish();
    }

private:
    HearingEnd ReadAll() {
        // As the receiver reads, so that a match is observed after as many frames.
        std::vector<std::byte> block(kDefaultBlockBytes);
        for (;;) {
            if (options_.stopRequested && options_.stopRequested()) return HearingEnd::kStopped;
            const uint64_t left = options_.maxFrames - heard_.frames;
            if (left == 0) return HearingEnd::kStopped;
            const uint64_t frames = std::min<uint64_t>(left, kDefaultBlockBytes / frameBytes_);
            const int32_t read =
                file_.Read(block.data(), static_cast<uint32_t>(frames * frameBytes_));
            if (read < 0) return HearingEnd::kSourceFailed;
            if (read == 0) return HearingEnd::kSourceEnded;
            Analyse(block.data(), static_cast<size_t>(read) / frameBytes_);
            if (options_.onProgress) options_.onProgress(heard_.frames);
        }
    }

    void Analyse(const std::byte* pcm, size_t frames) {
        heard_.frames += frames;
        mono_.resize(frames);
        MixToMono(pcm, frames, heard_.channels, mono_.data());
        const int bound = resampler_.OutputBound(static_cast<int>(frames));
        resampled_.resize(static_cast<size_t>(std::max(bound, 0)));
        const int converted = resampler_.Convert(mono_.data(), static_cast<int>(frames),
                                                 resampled_.data(), std::max(bound, 0));
        if (bound < 0 || converted < 0) throw SourceError("the audio cannot be resampled");
        TakeMono(static_cast<size_t>(converted));
    }

    // So many of `resampled_`.
    void TakeMono(size_t samples) {
        cutter_.Append(resampled_.data(), samples, heard_.frames);
        if (options_.onMono) options_.onMono({resampled_.data(), samples});
    }

    void Drain() {
        resampled_.resize(kDrainSamples);
        int drained = 0;
        while ((drained = resampler_.Drain(resampled_.data(), kDrainSamples)) > 0) {
            TakeMono(static_cast<size_t>(drained));
        }
    }

    CAudioFile& file_;
    const HearingOptions& options_;
    HeardAudio& heard_;
    PieceCutter cutter_;
    MonoResampler resampler_;
    uint32_t frameBytes_ = 0;
    std::vector<int16_t> mono_;       // scratch of one read
    std::vector<int16_t> resampled_;  // scratch of one read
};

}  // namespace

HeardAudio Hear(CAudioFile& file, const HearingOptions& options) {
    HeardAudio heard;
    Hearing(file, options, heard).Run();
    return heard;
}

}  // namespace receiver
