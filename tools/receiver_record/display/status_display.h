// Lines that scroll, above one status line that is redrawn in place; without a
// terminal, lines with a time stamp.
//
//   Threads  one.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "receiver_record/display/status_line.h"
#include "receiver_record/display/text_output.h"

namespace receiver {

class StatusDisplay final {
public:
    using Clock = std::chrono::steady_clock;
    struct Settings {
        std::function<size_t()> width;           // columns now; 0 for no terminal
        std::function<std::string()> timeStamp;  // put before a line when there is no terminal
        bool colour = false;
    };

    // The output outlives the object.
    StatusDisplay(TextOutput& out, Settings settings);
    ~StatusDisplay();  // takes the status line away

    // What a terminal would obey in the line becomes question marks. The status line
    // follows it, unless it was drawn less than 100 ms ago: then it waits for ShowStatus.
    void PrintLine(const std::string& line, Clock::time_point now = Clock::now());
    // Redraws the line, unless it was drawn less than 100 ms ago or the output is behind.
    void ShowStatus(const RecordStatus& status, Clock::time_point now);
    void ClearStatus();
    // Whether there is a status line at all.
    bool IsLive() const { return settings_.width() > 0; }

private:
    std::string Erase() const;  // the escape sequence for what is drawn now
    std::string Coloured(const std::string& statusLine) const;

    TextOutput& out_;
    const Settings settings_;
    std::string shown_;       // the status line on the screen, without colours
    size_t stateLength_ = 0;  // of the state at its beginning
    Clock::time_point lastDrawn_{};
};

}  // namespace receiver
