// The fingerprint's transform by other plans than the one in use, as measures of it.
#pragma once

#include <memory>

namespace receiver {

enum class Planning {
    kBest,     // FFTW measures for as long as it likes: the floor on this machine
    kUnaided,  // as the receiver plans, but without the wisdom that it hands to FFTW
};

class PlannedTransform final {
public:
    // The first of kBest takes seconds. Not beside another thread that plans: what FFTW knows
    // is put aside meanwhile, so that the plan is its own finding.
    explicit PlannedTransform(Planning planning);
    ~PlannedTransform();
    PlannedTransform(const PlannedTransform&) = delete;
    PlannedTransform& operator=(const PlannedTransform&) = delete;

    void Execute();  // on zeros

private:
    struct Plan;
    std::unique_ptr<Plan> plan_;
};

}  // namespace receiver
