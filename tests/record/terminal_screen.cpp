#include "terminal_screen.h"

#include <cstdlib>

namespace receiver {

void TerminalScreen::Resize(size_t width) {
    width_ = width;
}

void TerminalScreen::Write(const std::string& bytes) {
    for (const char c : bytes) {
        if (!escape_.empty()) {
            escape_ += c;
            const bool ends = escape_.size() > 2 && c >= '@' && c <= '~';
            if (ends) Obey(escape_);
            if (ends || escape_.size() > 16) escape_.clear();
        } else if (c == '\x1b') {
            escape_ = c;
        } else {
            Put(c);
        }
    }
}

void TerminalScreen::Put(char c) {
    if (c == '\r') {
        // The start of the row in which the last character stands.
        column_ -= column_ == 0 ? 0 : (column_ - 1) % width_ + 1;
    } else if (c == '\n') {
        lines_.emplace_back();
        column_ = 0;
    } else if (c >= ' ' && c <= '~') {
        lines_.back().resize(column_, ' ');
        lines_.back() += c;
        ++column_;
    } else if (fault_.empty()) {
        fault_ = "character " + std::to_string(static_cast<unsigned char>(c));
    }
}

void TerminalScreen::Obey(const std::string& sequence) {
    if (sequence == "\x1b[J") {
        std::string& line = lines_.back();
        if (line.size() > column_) {
            if (column_ > 0 && fault_.empty()) fault_ = "half a line is erased";
            erased_.push_back(line.substr(column_));
            line.resize(column_);
        }
    } else if (sequence == "\x1b[1;32m" || sequence == "\x1b[0m") {
        ++colours_;
    } else if (sequence.back() == 'A') {
        const size_t rows = std::strtoul(sequence.c_str() + 2, nullptr, 10);
        if (rows * width_ > column_) {
            if (fault_.empty()) fault_ = "it moves into the lines above";
            return;
        }
        column_ -= rows * width_;
    } else if (fault_.empty()) {
        fault_ = "sequence " + sequence.substr(1);
    }
}

}  // namespace receiver
