// One in-place forward complex DFT of fixed size: FFTW under C++ ownership.
//
//   Threads  one at a time per object. Making and destroying a plan takes the
//            process-wide planner lock; executing takes none.
//   Plans    FFTW_ESTIMATE: nothing is measured. The first plan is preceded by handing FFTW
//            what it knows from measurements of ours (fft_wisdom.h). Without it the plan of
//            the fingerprint's transform takes two to three times as long and allocates a
//            buffer in each execution; with it, executing allocates nothing.
#pragma once

#include <complex>
#include <cstdint>
#include <memory>
#include <span>

namespace receiver {

// Hands FFTW the first of the texts that it accepts, under the planner lock; false if it
// accepts none, which changes nothing. No file is read.
bool ImportFftWisdom(std::span<const char* const> texts);

class Fft final {
public:
    explicit Fft(uint32_t size);  // throws std::bad_alloc
    ~Fft();
    Fft(const Fft&) = delete;
    Fft& operator=(const Fft&) = delete;

    std::complex<double>* Data() const { return data_; }  // `size` values, input and output
    void Execute();

private:
    struct Plan;
    std::unique_ptr<Plan> plan_;
    std::complex<double>* data_;
};

}  // namespace receiver
