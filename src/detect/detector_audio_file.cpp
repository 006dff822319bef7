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

}  // namespace

uint64_t SourceSample(uint32_t sourceRate, uint64_t analysisSample) {
    const double product = static_cast<double>(sourceRate) * static_cast<double>(analysisSample);
    return static_cast<uint64_t>(std::llrint(product / kAnalysisRate));
}

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
    stream_.SetUp();
    framesRead_ = 0;
    peakHistory_.store(0);
    matcher_.Reset();
}

BOOL CDetectorAudioFile::Close() {
    resampler_.Close();
    stream_ = FingerprintStream();
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
    while (count > 0) {
        const size_t fed = stream_.Feed(samples, count);
        samples += fed;
        count -= fed;
        const uint64_t held = std::min<uint64_t>(stream_.WindowLength(), stream_.SampleCount());
        if (held > peakHistory_.load()) peakHistory_.store(held);
        if (stream_.IsFrameComplete()) TakeFrame();
    }
}

void CDetectorAudioFile::TakeFrame() {
    // After a callback that has thrown, its frame is still due, and found to be lost.
    if (!stream_.IsFrameWhole()) throw std::runtime_error("Detector history overrun");
    const uint64_t sourceSample = SourceSample(record_.nSamplesPerSec, stream_.FrameStart());
    matcher_.Push(stream_.Word(), sourceSample, framesRead_);
    stream_.Advance();
}

}  // namespace receiver
