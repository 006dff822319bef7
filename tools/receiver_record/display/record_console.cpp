#include "receiver_record/display/record_console.h"

#include "receiver_record/display/record_texts.h"
#include "receiver_record/output/sidecar.h"

namespace receiver {
namespace {

std::string JsonLine(const nlohmann::json& value) {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

void RecordConsole::ShowEvent(const Event& event) {
    WriteJson(event.raw);
    const std::string line = DescribeEvent(event);
    if (!line.empty()) Info(line);
    Detail(event.type + " " + event.raw);
}

void RecordConsole::ShowStatus(const RecordStatus& status) {
    if (WantsStatus()) display_.ShowStatus(status, StatusDisplay::Clock::now());
}

void RecordConsole::Info(const std::string& line) {
    if (!options_.quiet) display_.PrintLine(line);
}

void RecordConsole::Detail(const std::string& line) {
    if (options_.verbose && !options_.quiet) display_.PrintLine(line);
}

void RecordConsole::Warning(const std::string& line) {
    display_.PrintLine(line);
}

void RecordConsole::ShowReport(const RecordReport& report) {
    display_.ClearStatus();
    nlohmann::json line = ToJson(report);
    line["type"] = "RECORDED";
    WriteJson(JsonLine(line));
    if (options_.quiet && report.exitCode != ExitCode::kComplete) {
        display_.PrintLine("receiver-record: " + report.message);
    }
    for (const std::string& summary : SummaryLines(report)) Info(summary);
}

void RecordConsole::WriteJson(const std::string& line) {
    if (json_ != nullptr) json_->Write(line + "\n");
}

}  // namespace receiver
