// What a terminal shows of a program that redraws one line: it knows the sequences that
// receiver-record uses and takes any other for a fault. A line that does not fit goes on
// in the next row, and is laid out anew when the width changes.
//
//   Units  columns of one byte each.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace receiver {

class TerminalScreen final {
public:
    explicit TerminalScreen(size_t width) : width_(width) {}

    void Resize(size_t width);
    void Write(const std::string& bytes);  // sequences may be cut anywhere

    // Without the end of a line that was erased; the last one may be the status.
    const std::vector<std::string>& Lines() const { return lines_; }
    // The texts that stood in a line and were erased again, oldest first.
    const std::vector<std::string>& Erased() const { return erased_; }
    size_t Colours() const { return colours_; }
    // The first thing that it does not understand, or empty.
    const std::string& Fault() const { return fault_; }

private:
    void Put(char c);
    void Obey(const std::string& sequence);

    size_t width_;
    std::vector<std::string> lines_{""};
    size_t column_ = 0;  // in the last line, all of its rows counted as one
    std::string escape_;
    std::vector<std::string> erased_;
    size_t colours_ = 0;
    std::string fault_;
};

}  // namespace receiver
