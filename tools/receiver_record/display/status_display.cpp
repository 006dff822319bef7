#include "receiver_record/display/status_display.h"

#include <algorithm>
#include <utility>

#include "command_line/harmless_text.h"

namespace receiver {
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

StatusDisplay::StatusDisplay(std::ostream& out, Settings settings)
    : out_(out), settings_(std::move(settings)) {}

StatusDisplay::~StatusDisplay() {
    ClearStatus();
}

void StatusDisplay::PrintLine(const std::string& line, Clock::time_point now) {
    const std::string safe = Harmless(line);
    const size_t width = settings_.width();
    if (width == 0) {
        out_ << settings_.timeStamp() + " " + safe + "\n" << std::flush;
        return;
    }
    std::string text = Erase() + Wrapped(safe, width) + "\n";
    if (now - lastDrawn_ < kRedrawInterval) {
        shown_.clear();
    } else if (!shown_.empty()) {
        lastDrawn_ = now;
        shown_.resize(std::min(shown_.size(), width - 1));
        text += Coloured(shown_);
    }
    // One piece of output, so that nothing flickers.
    out_ << text << std::flush;
}

void StatusDisplay::ShowStatus(const RecordStatus& status, Clock::time_point now) {
    const size_t width = settings_.width();
    if (width == 0 || now - lastDrawn_ < kRedrawInterval) return;
    lastDrawn_ = now;
    // A line that fills the last column makes some terminals wrap.
    std::string line = RenderStatusLine(status, width - 1);
    stateLength_ = status.state.size();
    out_ << Erase() + Coloured(line) << std::flush;
    shown_ = std::move(line);
}

std::string StatusDisplay::Coloured(const std::string& statusLine) const {
    if (!settings_.colour || statusLine.size() < stateLength_) return statusLine;
    return "\x1b[1;32m" + statusLine.substr(0, stateLength_) + "\x1b[0m" +
           statusLine.substr(stateLength_);
}

void StatusDisplay::ClearStatus() {
    if (shown_.empty()) return;
    out_ << Erase() << std::flush;
    shown_.clear();
}

// A terminal that has become narrower has wrapped the line: all of its rows go.
std::string StatusDisplay::Erase() const {
    const size_t width = settings_.width();
    if (shown_.empty() || width == 0) return "";
    const size_t rowsAbove = (shown_.size() - 1) / width;
    const std::string up = rowsAbove > 0 ? "\x1b[" + std::to_string(rowsAbove) + "A" : "";
    return up + "\r\x1b[J";
}

}  // namespace receiver
