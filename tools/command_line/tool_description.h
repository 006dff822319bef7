// What a tool says about itself beyond its options. Plain data: --help, the manual page and
// the completions are made from it and from the options that were declared.
#pragma once

#include <vector>

namespace receiver {

struct ToolExample {
    const char* purpose;
    const char* command;
};

struct ToolExitCode {
    int code;
    const char* meaning;
};

struct ToolVariable {
    const char* name;
    const char* meaning;  // whole sentences
};

struct ToolDescription {
    const char* name;                  // as it is typed
    const char* purpose;               // the manual's first line: "record one programme of ..."
    const char* usage;                 // what follows the name
    const char* description;           // whole sentences in lines of at most 90 columns
    std::vector<const char*> notes;    // paragraphs below the options
    std::vector<const char*> details;  // paragraphs that only the manual has
    std::vector<ToolExample> examples;
    std::vector<ToolExitCode> exitCodes;
    std::vector<ToolVariable> environment;
};

}  // namespace receiver
