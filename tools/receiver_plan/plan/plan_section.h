// One table of a plan file, and what is wrong with it: each value is asked for by its key, and
// whatever is not as it should be becomes a fault with its line. Private to plan/.
//
//   Threads  one.
#pragma once

#include <toml++/toml.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "receiver_plan/plan/plan_faults.h"
#include "receiver_plan/plan/plan_keys.h"

namespace receiver {

class PlanSection final {
public:
    // What this section does not say, the other one does, if there is one. All outlive the object.
    PlanSection(std::string path, const toml::table& table, const PlanSection* defaults,
                PlanFaults& faults);

    // A fault for every key that is none of these.
    void Allow(const std::vector<std::string>& names) const;
    // The table of this key; nothing, and a fault, without one.
    const toml::table* Table(const std::string& key) const;

    bool Has(const std::string& key) const;
    size_t Line() const { return line_; }
    size_t LineOf(const std::string& key) const;

    // Nothing where the key is missing or its value is a fault.
    std::optional<std::string> Text(const std::string& key) const;
    std::vector<std::string> Texts(const std::string& key) const;
    std::optional<uint64_t> Duration(const std::string& key, uint64_t leastMs,
                                     uint64_t mostMs) const;
    std::optional<uint64_t> Age(const std::string& key) const;
    std::optional<unsigned> Count(const std::string& key, unsigned most) const;

    // About the key's value; about the section itself when it is empty.
    void Fault(const std::string& key, const std::string& text, const std::string& remedy) const;
    void Missing(const std::string& key, const std::string& remedy) const;

private:
    // The section that says it: this one, or the defaults.
    const PlanSection& SayingSection(const std::string& key) const;

    const std::string path_;
    const toml::table& table_;
    const PlanSection* const defaults_;
    PlanFaults& faults_;
    const size_t line_;
};

}  // namespace receiver
