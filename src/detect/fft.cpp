#include "detect/fft.h"

#include <fftw3.h>

#include <new>

#include "platform/thread_safety.h"

namespace receiver {
namespace {

// FFTW's planner keeps tables for the whole process and is the only part of it
// that is not thread-safe.
Mutex& PlannerMutex() {
    static Mutex mutex;
    return mutex;
}

struct FftwFree {
    void operator()(std::complex<double>* data) const { fftw_free(data); }
};

}  // namespace

struct Fft::Plan {
    std::unique_ptr<std::complex<double>, FftwFree> data;
    fftw_plan handle = nullptr;

    explicit Plan(uint32_t size)
        : data(static_cast<std::complex<double>*>(fftw_malloc(size * sizeof(fftw_complex)))) {
        if (!data) throw std::bad_alloc();
        auto* values = reinterpret_cast<fftw_complex*>(data.get());
        MutexLock lock(PlannerMutex());
        handle =
            fftw_plan_dft_1d(static_cast<int>(size), values, values, FFTW_FORWARD, FFTW_ESTIMATE);
        if (!handle) throw std::bad_alloc();
    }
    ~Plan() {
        MutexLock lock(PlannerMutex());
        fftw_destroy_plan(handle);
    }
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;
};

Fft::Fft(uint32_t size) : plan_(std::make_unique<Plan>(size)), data_(plan_->data.get()) {}

Fft::~Fft() = default;

void Fft::Execute() {
    fftw_execute(plan_->handle);
}

}  // namespace receiver
