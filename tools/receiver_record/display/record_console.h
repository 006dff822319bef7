// What receiver-record says: events and failures for people on standard error, JSON
// lines on standard output, both as the options ask for.
//
//   Threads  one.
#pragma once

#include <string>

#include "receiver_client/messages.h"
#include "receiver_record/display/status_display.h"
#include "receiver_record/record_report.h"
#include "receiver_record/request/record_options.h"

namespace receiver {

class RecordConsole final {
public:
    // All outlive the object. `json` takes the JSON lines; without one there are none.
    RecordConsole(const RecordOptions& options, StatusDisplay& display, TextOutput* json)
        : options_(options), display_(display), json_(json) {}

    void ShowEvent(const Event& event);
    void ShowStatus(const RecordStatus& status);
    void Info(const std::string& line);     // unless --quiet
    void Detail(const std::string& line);   // with --verbose
    void Warning(const std::string& line);  // always
    void ShowReport(const RecordReport& report);
    bool WantsStatus() const { return !options_.quiet && display_.IsLive(); }

private:
    void WriteJson(const std::string& line);

    const RecordOptions& options_;
    StatusDisplay& display_;
    TextOutput* const json_;
};

}  // namespace receiver
