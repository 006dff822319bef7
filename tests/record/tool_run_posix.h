// A program that runs to its end, with what it said.
#pragma once

#include <string>
#include <vector>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "record_run.h"

namespace receiver {

struct Outcome {
    int exitCode;
    std::string output;
    std::string errors;
};

inline Outcome RunTool(const std::string& program, const std::vector<std::string>& arguments) {
    ChildProcess process(program, arguments, ChildProcess::ErrorStream::kCapture);
    const uint64_t deadline = TickMs() + kRunPatienceMs;
    Outcome outcome;
    outcome.output = process.ReadAllOutput(deadline).value_or("");
    outcome.errors = process.ReadAllErrors(deadline).value_or("");
    outcome.exitCode = process.WaitForExit(deadline).value_or(-1);
    return outcome;
}

}  // namespace receiver
