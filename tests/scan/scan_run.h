// Runs of receiver-scan, and what it says.
#pragma once

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "testing/patience.h"

namespace receiver {

struct ScanRun {
    int exitCode = -1;
    std::string output, errors;

    // Of --json: the lines, or those of one type.
    std::vector<nlohmann::json> Objects(const std::string& type = "") const {
        std::vector<nlohmann::json> objects;
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            nlohmann::json object = nlohmann::json::parse(line);
            if (type.empty() || object.at("type") == type) objects.push_back(std::move(object));
        }
        return objects;
    }
};

inline ScanRun RunScan(const std::vector<std::string>& arguments) {
    ChildProcess process((ExecutableDirectory() / "receiver-scan").string(), arguments,
                         ChildProcess::ErrorStream::kCapture);
    const uint64_t deadline = TickMs() + 4 * kPatienceMs;
    ScanRun run;
    run.output = process.ReadAllOutput(deadline).value_or("");
    run.errors = process.ReadAllErrors(deadline).value_or("");
    // Where lines end in two characters, they are read as one.
    std::erase(run.output, '\r');
    std::erase(run.errors, '\r');
    run.exitCode = process.WaitForExit(deadline).value_or(-1);
    return run;
}

}  // namespace receiver
