// The floor of the transform: the fingerprint's, by the best plan that FFTW finds when it may
// measure for as long as it likes on this machine.
#pragma once

#include <memory>

namespace receiver {

class BestTransform final {
public:
    // Takes seconds the first time. Not beside another thread that plans: what FFTW knows is
    // put aside meanwhile, so that the plan is its own finding.
    BestTransform();
    ~BestTransform();
    BestTransform(const BestTransform&) = delete;
    BestTransform& operator=(const BestTransform&) = delete;

    void Execute();  // on zeros

private:
    struct Plan;
    std::unique_ptr<Plan> plan_;
};

}  // namespace receiver
