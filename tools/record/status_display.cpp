#include "record/status_display.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::chrono::milliseconds kRedrawInterval(100);

// Breaks a line between words; further rows are indented. A longer word stays whole.
std::string Wrapped(const std::string& line, size_t width) {
    std::string text;
    size_t column = 0;
    for (size_t at = 0; at < line.size();) {
        const size_t end = std::min(line.find(' ', at), line.size());
        const size_t letters = end - at;
        if (at > 0) {
            const bool fits = column + 1 + letters <= width;
            text += fits ? " " : "\n  ";
            column = fits ? column + 1 : 2;
        }
        text.append(line, at, letters);
        column += letters;
        at = end + 1;
    }
    return text;
}

}  // namespace

CStatusDisplay::CStatusDisplay(std::ostream& out, Settings settings)
    : out_(out), settings_(std::move(settings)) {}

CStatusDisplay::~CStatusDisplay() {
    ClearStatus();
}

void CStatusDisplay::PrintLine(const std::string& line) {
    if (!IsLive()) {
        out_ << settings_.timeStamp() + " " + line + "\n" << std::flush;
        return;
    }
    // The status line returns below the new line, in the same piece of output.
    out_ << Erase() + Wrapped(line, settings_.width()) + "\n" + shown_ << std::flush;
}

void CStatusDisplay::ShowStatus(const RecordStatus& status, Clock::time_point now) {
    const size_t width = settings_.width();
    if (width == 0 || now - lastDrawn_ < kRedrawInterval) return;
    lastDrawn_ = now;
    // A line that fills the last column makes some terminals wrap.
    std::string line = RenderStatusLine(status, width - 1);
    std::string text = Erase() + line;
    if (settings_.colour && line.size() >= status.state.size()) {
        text = Erase() + "\x1b[1;32m" + status.state + "\x1b[0m" + line.substr(status.state.size());
    }
    out_ << text << std::flush;
    shown_ = std::move(line);
}

void CStatusDisplay::ClearStatus() {
    if (shown_.empty()) return;
    out_ << Erase() << std::flush;
    shown_.clear();
}

// A terminal that has become narrower has wrapped the line: all of its rows go.
std::string CStatusDisplay::Erase() const {
    const size_t width = settings_.width();
    if (shown_.empty() || width == 0) return "";
    const size_t rowsAbove = (shown_.size() - 1) / width;
    const std::string up = rowsAbove > 0 ? "\x1b[" + std::to_string(rowsAbove) + "A" : "";
    return up + "\r\x1b[J";
}
