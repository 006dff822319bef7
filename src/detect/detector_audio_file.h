// Listens to what passes: hands every read of the source through unchanged, and
// on the side mixes it to mono, resamples it to the analysis rate, fingerprints
// it and compares it with the references. The callback learns of each match.
//
//   Units    match positions are source frames; analysis positions are at 22050 Hz.
//   Threads  one at a time; the callback runs inside Read, without locks of ours.
//   Errors   Read throws std::runtime_error when the analysis fails: "Detector
//            requires complete PCM frames", "Detector resampler capacity failed",
//            "Detector resampling failed", "Detector resampler drain failed",
//            "Detector history overrun". The buffer then holds the source's bytes.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/audio_file.h"
#include "audio/mono_resampler.h"
#include "detect/detector_match.h"
#include "detect/fingerprint_stream.h"
#include "detect/reference_loading.h"
#include "detect/reference_matcher.h"

namespace receiver {

// A match of a stream of 44100 Hz is reported before so many frames have passed since the
// reference's end: the window that completes its last word, the words that refine it, and
// what the resampler holds back, with room.
inline constexpr uint64_t kDetectionReachFrames = 32768;
// The source frame at which a sample of the analysis lies.
uint64_t SourceSample(uint32_t sourceRate, uint64_t analysisSample);

class CDetectorAudioFile final : public CAudioFile {
public:
    using MatchCallback = std::function<void(const DetectorMatch&)>;

    // Leaves `references` empty. Throws std::invalid_argument: "Invalid Detector
    // configuration" (no source, callback or references), "Invalid Detector BER
    // threshold" (outside 0..1), "Invalid reference" (fewer than 16 words).
    CDetectorAudioFile(std::unique_ptr<CAudioFile> source,
                       std::vector<ReferenceFingerprint>&& references,
                       const MatchCallback& callback, double berThreshold);
    ~CDetectorAudioFile() override;

    // Fails (and closes the source) unless it delivers 16-bit PCM of 1 to 8 channels.
    // Opening again restarts the analysis at 0.
    BOOL Open(const std::string& path) override;
    BOOL Close() override;
    int32_t Read(void* buffer, uint32_t count) override;
    BOOL Seek(float) override { return 0; }
    bool IsOpen() const override { return open_ != 0; }

    // The most analysis samples ever held; any thread.
    uint64_t PeakHistorySamples() const { return peakHistory_.load(); }

private:
    void Analyse(const void* pcm, size_t frames);
    void Drain();
    void StartAnalysis();
    void AppendToHistory(const int16_t* samples, size_t count);
    void TakeFrame();

    const std::unique_ptr<CAudioFile> source_;
    ReferenceMatcher matcher_;
    WAVEFORMATEX record_;
    MonoResampler resampler_;
    FingerprintStream stream_;        // set up while open
    std::vector<int16_t> mono_;       // scratch of one read
    std::vector<int16_t> resampled_;  // scratch of one read
    uint64_t framesRead_ = 0;         // of the source
    std::atomic<uint64_t> peakHistory_{0};
};

}  // namespace receiver
