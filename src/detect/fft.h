// One in-place forward complex DFT of fixed size: FFTW under C++ ownership.
//
//   Threads  one at a time per object. Making and destroying a plan takes the
//            process-wide planner lock; executing takes none.
#pragma once

#include <complex>
#include <cstdint>
#include <memory>

namespace receiver {

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
