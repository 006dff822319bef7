// The command line of receiver-record, declared once: parsing, --help, the manual
// page and the shell completions all come from it.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace receiver {

// The values as they were typed.
struct CommandLineValues {
    std::string url;
    std::string output;
    std::vector<std::string> starts, ends, others;
    std::string maximum, fade, wait, ioTimeout;
    std::string block;
    std::string control, receiver, log;
    bool json = false, quiet = false, verbose = false, force = false;
    std::string document;  // what --generate asks for
};

// The values outlive the application.
void DeclareCommandLine(CLI::App& app, CommandLineValues& values);

struct CommandExample {
    const char* purpose;
    const char* command;
};
const std::vector<CommandExample>& CommandExamples();

struct ExitCodeMeaning {
    int code;
    const char* meaning;
};
const std::vector<ExitCodeMeaning>& ExitCodeMeanings();

}  // namespace receiver
