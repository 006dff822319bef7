// What is wrong with a plan: where, what, and what to do about it.
#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace receiver {

struct PlanFault {
    size_t line = 0;
    std::string key;  // "programs.evening.when"; empty where the file as a whole is meant
    std::string text;
    std::string remedy;

    bool operator==(const PlanFault&) const = default;
    bool operator<(const PlanFault& other) const {
        return std::tie(line, key, text, remedy) <
               std::tie(other.line, other.key, other.text, other.remedy);
    }
};

// In the order of the lines, each once.
class PlanFaults final {
public:
    void Add(PlanFault fault) {
        const auto place = std::lower_bound(faults_.begin(), faults_.end(), fault);
        if (place == faults_.end() || *place != fault) faults_.insert(place, std::move(fault));
    }
    const std::vector<PlanFault>& All() const { return faults_; }

private:
    std::vector<PlanFault> faults_;
};

// "evening.toml:12: programs.evening.strat: not a key; did you mean "start"?"
std::string FaultLine(const std::string& path, const PlanFault& fault);

class FaultyPlan : public std::runtime_error {
public:
    explicit FaultyPlan(PlanFaults faults)
        : std::runtime_error("the plan has faults"), faults_(std::move(faults)) {}
    const std::vector<PlanFault>& All() const { return faults_.All(); }

private:
    PlanFaults faults_;
};

}  // namespace receiver
