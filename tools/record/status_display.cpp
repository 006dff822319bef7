#include "record/status_display.h"

#include <utility>

namespace {

constexpr std::chrono::milliseconds kRedrawInterval(100);

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
    out_ << Erase() + line + "\n" + shown_ << std::flush;
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
