#include "receiver_scan/source/progress_bar.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "command_line/terminal.h"

namespace receiver {
namespace {

constexpr std::chrono::milliseconds kRedrawInterval(100);
constexpr size_t kMaxBar = 40;

}  // namespace

std::string RenderProgress(uint64_t done, uint64_t total, const std::string& text, size_t columns) {
    if (total == 0) return text.substr(0, columns);
    const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    char percent[16];
    std::snprintf(percent, sizeof(percent), " %3d%%", static_cast<int>(share * 100.0));
    const size_t rest = std::string(percent).size() + 4 + text.size();  // and two brackets
    const size_t bar = std::min(kMaxBar, columns > rest ? columns - rest : 0);
    if (bar < 8) return (percent + 1 + ("  " + text)).substr(0, columns);
    const auto filled = static_cast<size_t>(share * static_cast<double>(bar));
    return "[" + std::string(filled, '#') + std::string(bar - filled, ' ') + "]" + percent + "  " +
           text;
}

ProgressBar::ProgressBar(std::ostream& out, std::function<size_t()> width)
    : out_(out), width_(std::move(width)) {}

ProgressBar::~ProgressBar() {
    Clear();
}

void ProgressBar::Show(uint64_t done, uint64_t total, const std::string& text,
                       Clock::time_point now) {
    const size_t width = width_();
    if (width == 0 || now - lastDrawn_ < kRedrawInterval) return;
    lastDrawn_ = now;
    // A line that fills the last column makes some terminals wrap.
    out_ << "\r\x1b[K" + RenderProgress(done, total, text, width - 1) << std::flush;
    shown_ = true;
}

void ProgressBar::Clear() {
    if (shown_) out_ << "\r\x1b[K" << std::flush;
    shown_ = false;
}

std::function<size_t()> ProgressWidth() {
    if (EnableTerminalControl()) return TerminalWidth;
    return [] { return size_t{0}; };
}

}  // namespace receiver
