// Audio as a sequence of 32-bit words, 80 a second, that survive coding and
// filtering: each bit is the sign of the change, from the frame before to this
// one, of the energy difference between two neighbouring of 33 logarithmic bands
// from 300 to 3000 Hz (Haitsma and Kalker). Two recordings are alike where the
// words of one differ from those of the other in few bits.
//
//   Units    mono samples at the analysis rate, at integer scale; times in seconds.
//   Threads  one at a time. SetUp and the destructor take the planner lock (fft.h).
//   State    each word depends on the frame before it: one object per stream, fed
//            in order; SetUp starts a new stream. Computing allocates nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "detect/fft.h"
#include "detect/kernels.h"

namespace receiver {

// The settings that references and streams share.
inline constexpr int32_t kAnalysisRate = 22050;
inline constexpr double kFrameSeconds = 0.4;
inline constexpr double kHopSeconds = 0.0125;
inline constexpr size_t kMinReferenceWords = 16;

// The running start of each frame: a sum in double precision, rounded to the
// nearest sample (ties to even). Every fingerprint in the system steps by it.
class FrameClock final {
public:
    explicit FrameClock(int32_t sampleRate = kAnalysisRate) : sampleRate_(sampleRate) {}
    int64_t StartSample() const;
    double Seconds() const { return seconds_; }
    void Advance() { seconds_ += kHopSeconds; }

private:
    double sampleRate_;
    double seconds_ = 0.0;
};

// The power of two nearest to `length` in ratio, ties to the larger; 0 when there is none.
uint32_t NearestPowerOfTwo(int32_t length);

class CAudioFingerprinter final {
public:
    // All sets of kernels give the same words.
    explicit CAudioFingerprinter(const Kernels& kernels = FastestKernels()) : kernels_(&kernels) {}

    // The rate is above 6000 Hz, so that the highest band lies within the spectrum. A
    // frame that no power of two is near to leaves FftSize() 0, and every word is 0.
    void SetUp(int32_t sampleRate, double frameSeconds, double hopSeconds);

    // WindowLength() samples from startIndex on; those outside [0, sampleCount) are 0.
    uint32_t ComputeWord(const int16_t* samples, int64_t sampleCount, int64_t startIndex);
    // The caller guarantees WindowLength() readable samples.
    uint32_t ComputeWord(const int16_t* samples);

    uint32_t WindowLength() const { return fftSize_ - 2 * pad_; }
    uint32_t FftSize() const { return fftSize_; }
    double FrameSeconds() const { return frameSeconds_; }
    std::span<const int32_t> BandEdges() const { return bandEdges_; }

private:
    void SetUpBandEdges();
    uint32_t WordOfTransform();

    const Kernels* kernels_;  // outlives the process's threads
    int32_t sampleRate_ = 0;
    double frameSeconds_ = 0.0;
    double hopSeconds_ = 0.0;
    uint32_t fftSize_ = 0;
    uint32_t pad_ = 0;  // zeros on either side of the windowed frame
    int32_t bitCount_ = 32;
    double lowHz_ = 300.0;
    double highHz_ = 3000.0;
    std::vector<double> window_;
    std::vector<int32_t> bandEdges_;           // FFT bins, one more than there are bands
    std::vector<double> bandEnergies_;         // of the current frame
    std::vector<double> previousDifferences_;  // of the frame before
    std::unique_ptr<Fft> fft_;
};

}  // namespace receiver
