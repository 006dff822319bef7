// How far the work is, in one line of the terminal that is redrawn in place; nothing where
// standard error is none.
//
//   Units    whatever `total` counts.
//   Threads  one.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

namespace receiver {

// "[#####     ]  50%  half an hour" in at most so many columns, at least 20. Without a total,
// 0, there is no bar. Pure.
std::string RenderProgress(uint64_t done, uint64_t total, const std::string& text, size_t columns);

class ProgressBar final {
public:
    using Clock = std::chrono::steady_clock;

    // `width` tells the columns of the terminal, 0 for none. The stream outlives the object.
    ProgressBar(std::ostream& out, std::function<size_t()> width);
    ~ProgressBar();  // as Clear

    // Redraws the line, unless it was drawn less than 100 ms ago.
    void Show(uint64_t done, uint64_t total, const std::string& text,
              Clock::time_point now = Clock::now());
    void Clear();  // takes the line away

private:
    std::ostream& out_;
    const std::function<size_t()> width_;
    bool shown_ = false;
    Clock::time_point lastDrawn_{};
};

// On standard error, if that is a terminal which understands escape sequences.
std::function<size_t()> ProgressWidth();

}  // namespace receiver
