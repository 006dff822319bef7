#include "log/log.h"

#include <cstdio>
#include <string>
#include <utility>

#include "platform/clock.h"
#include "platform/ids.h"

namespace receiver {
namespace {

// As printf, into a string of whatever length it takes.
template <typename... Arguments>
std::string Print(const char* format, Arguments... arguments) {
    const int length = std::snprintf(nullptr, 0, format, arguments...);
    if (length <= 0) return {};
    std::string text(static_cast<size_t>(length), '\0');
    std::snprintf(text.data(), text.size() + 1, format, arguments...);
    return text;
}

std::string TimeText(const LocalTime& time) {
    return Print("%02u:%02u:%02u ms:%03u", time.hour, time.minute, time.second, time.millisecond);
}

}  // namespace

CLog::CLog(std::unique_ptr<IStoreLog> sink, Options options)
    : sink_(std::move(sink)), options_(options) {}

CLog::~CLog() {
    sink_->Flush();
}

int32_t CLog::Write(int32_t level, std::string_view message) {
    if (level > options_.levelLimit) return 0;
    const std::string time = options_.timeStamps ? TimeText(GetLocalTimeNow()) : std::string();
    std::string line =
        Print("Process : %#06x : Thread : %#04x : Time : %s : Level : %12s : Message : ",
              static_cast<unsigned>(CurrentProcessId()), static_cast<unsigned>(CurrentThreadId()),
              time.c_str(), LevelText(level));
    line += message;  // not printed: a message may hold any byte
    line += '\n';
    sink_->Write(line);
    if (options_.flushEachLine) sink_->Flush();
    return 0;
}

const char* CLog::LevelText(int32_t level) const {
    switch (level) {
        case kError:
            return "LOG ERROR";
        case kWarning:
            return "LOG WARNING";
        case kInformation:
            return "LOG INFO";
        case kDebug:
            return "LOG DEBUG";
        default:
            return CategoryText();
    }
}

const char* CLog::CategoryText() const {
    return " LOG NOT IMPLEMENTED CATEGORY : ";
}

}  // namespace receiver
