// Keeps what is written, unless it is full.
#pragma once

#include <string>
#include <utility>

#include "receiver_record/display/text_output.h"

namespace receiver {

class StringOutput final : public TextOutput {
public:
    bool Write(std::string text) override {
        if (!isFull_) text_ += text;
        return !isFull_;
    }
    bool IsBehind() override { return isFull_; }

    void SetFull(bool isFull) { isFull_ = isFull; }
    const std::string& Text() const { return text_; }
    std::string Take() { return std::exchange(text_, {}); }

private:
    std::string text_;
    bool isFull_ = false;
};

}  // namespace receiver
