// Runs of receiver-plan, and what it says.
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "testing/patience.h"

namespace receiver {

struct PlanRun {
    int exitCode = -1;
    std::string output, errors;
};

inline PlanRun RunProgram(const std::string& program, const std::vector<std::string>& arguments) {
    ChildProcess process(program, arguments, ChildProcess::ErrorStream::kCapture);
    const uint64_t deadline = TickMs() + 4 * kPatienceMs;
    PlanRun run;
    run.output = process.ReadAllOutput(deadline).value_or("");
    run.errors = process.ReadAllErrors(deadline).value_or("");
    run.exitCode = process.WaitForExit(deadline).value_or(-1);
    return run;
}

inline PlanRun RunPlan(const std::vector<std::string>& arguments) {
    return RunProgram((ExecutableDirectory() / "receiver-plan").string(), arguments);
}

inline std::string BytesOfFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace receiver
