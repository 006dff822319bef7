// How receiver-plan ends; the numbers are part of its interface (--help lists them).
#pragma once

namespace receiver {

enum class PlanExitCode {
    kGood = 0,     // nothing is wrong, or nothing differs
    kFailure = 1,  // the tool itself broke
    kUsage = 2,
    kFaulty = 3,      // the plan has faults, or something differs
    kUnreadable = 4,  // the plan cannot be read
    kInterrupted = 5,
    kOutputError = 6,
    kSilent = 7,  // the plan has no faults, but a station does not answer
};

}  // namespace receiver
