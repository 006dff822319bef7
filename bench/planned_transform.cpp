#include "planned_transform.h"

#include <fftw3.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

namespace receiver {
namespace {

constexpr int kSize = 8192;

std::string ExportedWisdom() {
    char* text = fftw_export_wisdom_to_string();
    std::string wisdom = text;
    std::free(text);
    return wisdom;
}

// What a search of the best plan has found, so that the next need not search.
std::string& BestWisdom() {
    static std::string wisdom;
    return wisdom;
}

}  // namespace

struct PlannedTransform::Plan {
    fftw_complex* data = fftw_alloc_complex(kSize);
    fftw_plan handle = nullptr;

    explicit Plan(Planning planning) {
        if (!data) throw std::bad_alloc();
        const std::string known = ExportedWisdom();
        fftw_forget_wisdom();
        const bool best = planning == Planning::kBest;
        if (best && !BestWisdom().empty()) fftw_import_wisdom_from_string(BestWisdom().c_str());
        handle =
            fftw_plan_dft_1d(kSize, data, data, FFTW_FORWARD, best ? FFTW_PATIENT : FFTW_ESTIMATE);
        if (best) BestWisdom() = ExportedWisdom();
        fftw_forget_wisdom();
        fftw_import_wisdom_from_string(known.c_str());
        std::fill_n(data[0], 2 * kSize, 0.0);
    }
    ~Plan() {
        fftw_destroy_plan(handle);
        fftw_free(data);
    }
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;
};

PlannedTransform::PlannedTransform(Planning planning) : plan_(std::make_unique<Plan>(planning)) {}

PlannedTransform::~PlannedTransform() = default;

void PlannedTransform::Execute() {
    fftw_execute(plan_->handle);
}

}  // namespace receiver
