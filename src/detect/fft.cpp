#include "detect/fft.h"

#include <fftw3.h>

#include <algorithm>
#include <new>

#include "detect/fft_wisdom.h"
#include "platform/thread_safety.h"

namespace receiver {
namespace {

// FFTW's planner keeps tables for the whole process and is the only part of it
// that is not thread-safe.
Mutex& PlannerMutex() {
    static Mutex mutex;
    return mutex;
}

bool ImportFirstAccepted(std::span<const char* const> texts) REQUIRES(PlannerMutex()) {
    return std::any_of(texts.begin(), texts.end(),
                       [](const char* text) { return fftw_import_wisdom_from_string(text) != 0; });
}

// Another build of FFTW, or another processor, may accept none: its own plans do as well.
void ImportWisdomOnce() REQUIRES(PlannerMutex()) {
    [[maybe_unused]] static const bool imported = ImportFirstAccepted(FftWisdom());
}

}  // namespace

bool ImportFftWisdom(std::span<const char* const> texts) {
    MutexLock lock(PlannerMutex());
    return ImportFirstAccepted(texts);
}

struct Fft::Plan {
    struct FftwFree {
        void operator()(std::complex<double>* values) const { fftw_free(values); }
    };
    std::unique_ptr<std::complex<double>, FftwFree> data;
    fftw_plan handle = nullptr;

    explicit Plan(uint32_t size)
        : data(static_cast<std::complex<double>*>(fftw_malloc(size * sizeof(fftw_complex)))) {
        if (!data) throw std::bad_alloc();
        auto* values = reinterpret_cast<fftw_complex*>(data.get());
        MutexLock lock(PlannerMutex());
        ImportWisdomOnce();
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
