#include "detect/detector_audio_file.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "detect/mono_mix.h"

namespace receiver {
namespace {

constexpr int kDrainSamples = 4096;
constexpr uint16_t kMaxChannels = 8;

std::vector<ReferenceFingerprint> CheckedReferences(
    const CAudioFile* source, std::vector<ReferenceFingerprint>&& references,
    const CDetectorAudioFile::MatchCallback& callback, double berThreshold) {
    if (!source || !callback || references.empty()) {
        throw std::invalid_argument("Invalid Detector configuration");
    }
    // Written so that a NaN fails.
    if (!(berThreshold >= 0.0 && berThreshold <= 1.0)) {
        throw std::invalid_argument("Invalid Detector BER threshold");
    }
    for (const ReferenceFingerprint& reference : references) {
        if (reference.words.size() < kMinReferenceWords) {
            throw std::invalid_argument("Invalid reference");
        }
    }
    return std::exchange(references, {});
}

uint64_t SourceSample(uint32_t sourceRate, uint64_t analysisSample) {
    const double product = static_cast<double>(sourceRate) * static_cast<double>(analysisSample);
    return static_cast<uint64_t>(std::llrint(product / kAnalysisRate));
}

}  // namespace

CDetectorAudioFile::CDetectorAudioFile(std::unique_ptr<CAudioFile> source,
                                       std::vector<ReferenceFingerprint>&& references,
                                       const MatchCallback& callback, double berThreshold)
    : source_(std::move(source)),
      matcher_(CheckedReferences(source_.get(), std::move(references), callback, berThreshold),
               berThreshold, callback) {}

CDetectorAudioFile::~CDetectorAudioFile() {
    Close();
}

BOOL CDetectorAudioFile::Open(const std::string& path) {
    if (IsOpen() || !source_->Open(path)) return 0;
    const WAVEFORMATEX* format = FormatOf16BitPcm(*source_);
    if (!format || format->nChannels < 1 || format->nChannels > kMaxChannels) {
        source_->Close();
        return 0;
    }
    record_ = *format;
    if (!resampler_.Open(record_.nSamplesPerSec, kAnalysisRate)) {
        Close();
        return 0;
    }
    StartAnalysis();
    format_ = &record_;
    bytesPerSecond_ = record_.nAvgBytesPerSec;
    open_ = 1;
    return 1;
}

void CDetectorAudioFile::StartAnalysis() {
    fingerprinter_.SetUp(kAnalysisRate, kFrameSeconds, kHopSeconds);
    history_.resize(2 * static_cast<size_t>(fingerprinter_.WindowLength()));
    historySize_ = 0;
    historyStart_ = 0;
    frameClock_ = FrameClock();
    framesRead_ = 0;
    peakHistory_.store(0);
    matcher_.Reset();
}

BOOL CDetectorAudioFile::Close() {
    resampler_.Close();
    fingerprinter_ = CAudioFingerprinter();
    open_ = 0;
    source_->Close();
    return 1;
}

int32_t CDetectorAudioFile::Read(void* buffer, uint32_t count) {
    if (!IsOpen() || !buffer) return -1;
    const int32_t read = source_->Read(buffer, count);
    if (read < 0) return read;
    if (read == 0) {
        Drain();
        matcher_.Flush(framesRead_);
        return 0;
    }
    if (read % record_.nBlockAlign != 0) {
        throw std::runtime_error("Detector requires complete PCM frames");
    }
    Analyse(buffer, static_cast<size_t>(read) / record_.nBlockAlign);
    return read;
}

void CDetectorAudioFile::Analyse(const void* pcm, size_t frames) {
    // Before the analysis: a match found in this block is observed after all of it.
    framesRead_ += frames;
    if (mono_.size() < frames) mono_.resize(frames);
    MixToMono(pcm, frames, record_.nChannels, mono_.data());

    const int bound = resampler_.OutputBound(static_cast<int>(frames));
    if (bound < 0) throw std::runtime_error("Detector resampler capacity failed");
    if (resampled_.size() < static_cast<size_t>(bound)) resampled_.resize(bound);
    const int converted =
        resampler_.Convert(mono_.data(), static_cast<int>(frames), resampled_.data(), bound);
    if (converted < 0) throw std::runtime_error("Detector resampling failed");
    AppendToHistory(resampled_.data(), static_cast<size_t>(converted));
}

void CDetectorAudioFile::Drain() {
    if (resampled_.size() < kDrainSamples) resampled_.resize(kDrainSamples);
    for (;;) {
        const int drained = resampler_.Drain(resampled_.data(), kDrainSamples);
        if (drained < 0) throw std::runtime_error("Detector resampler drain failed");
        if (drained == 0) return;
        AppendToHistory(resampled_.data(), static_cast<size_t>(drained));
    }
}

void CDetectorAudioFile::AppendToHistory(const int16_t* samples, size_t count) {
    const uint64_t window = fingerprinter_.WindowLength();
    while (count > 0) {
        // Up to the very sample that completes the next frame. When the callback has
        // thrown, that frame is still due, and is found to be lost below.
        const uint64_t received = historyStart_ + historySize_;
        const uint64_t frameEnd = static_cast<uint64_t>(frameClock_.StartSample()) + window;
        const uint64_t missing = frameEnd > received ? frameEnd - received : 1;
        const auto span = static_cast<size_t>(std::min<uint64_t>(missing, count));
        Retain(samples, span);
        samples += span;
        count -= span;
        if (historyStart_ + historySize_ >= frameEnd) TakeFrame();
    }
}

// `count` is at most the window.
void CDetectorAudioFile::Retain(const int16_t* samples, size_t count) {
    const size_t window = fingerprinter_.WindowLength();
    if (historySize_ + count > history_.size()) {
        const size_t dropped = historySize_ - window;
        std::copy_n(history_.begin() + dropped, window, history_.begin());
        historyStart_ += dropped;
        historySize_ = window;
    }
    std::copy_n(samples, count, history_.begin() + historySize_);
    historySize_ += count;
    const uint64_t held = std::min<uint64_t>(window, historyStart_ + historySize_);
    if (held > peakHistory_.load()) peakHistory_.store(held);
}

void CDetectorAudioFile::TakeFrame() {
    const auto frameStart = static_cast<uint64_t>(frameClock_.StartSample());
    // Only a frame that ends with the newest sample has all of its samples within
    // the newest window of them.
    if (frameStart + fingerprinter_.WindowLength() < historyStart_ + historySize_) {
        throw std::runtime_error("Detector history overrun");
    }
    const uint32_t word =
        fingerprinter_.ComputeWord(history_.data() + (frameStart - historyStart_));
    matcher_.Push(word, SourceSample(record_.nSamplesPerSec, frameStart), framesRead_);
    frameClock_.Advance();
}

}  // namespace receiver
