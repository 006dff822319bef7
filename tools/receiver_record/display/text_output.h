// Where texts for people and for other programs go.
#pragma once

#include <string>

namespace receiver {

class TextOutput {
public:
    TextOutput() = default;
    TextOutput(const TextOutput&) = delete;
    TextOutput& operator=(const TextOutput&) = delete;
    virtual ~TextOutput() = default;

    // As a whole, or not at all: false when there is no room for it.
    virtual bool Write(std::string text) = 0;
    // What was written before still waits for its reader.
    virtual bool IsBehind() = 0;
};

}  // namespace receiver
