#include "audio/ffmpeg_log_listener.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "audio/ffmpeg.h"
#include "audio/retry_after_request.h"
#include "platform/text.h"

extern "C" {
#include <libavutil/log.h>
}

namespace receiver {
namespace {

thread_local FfmpegLogListener* listening = nullptr;

constexpr std::string_view kHeaderFormat = "header='%s'\n";
constexpr std::string_view kLookupFormat = "Failed to resolve hostname ";
constexpr std::string_view kTlsName = "tls";
constexpr size_t kMaxTlsText = 500;

bool IsTls(void* context) {
    const AVClass* type = context ? *static_cast<AVClass**>(context) : nullptr;
    return type && type->item_name && type->item_name(context) == kTlsName;
}

}  // namespace

FfmpegLogListener::FfmpegLogListener() : outer_(listening) {
    listening = this;
}

FfmpegLogListener::~FfmpegLogListener() {
    listening = outer_;
}

void FfmpegLogListener::Take(void* context, int level, const char* format, va_list arguments) {
    FfmpegLogListener* const listener = listening;
    if (!listener) return;
    if (format == kHeaderFormat) {
        listener->TakeHeaderLine(va_arg(arguments, const char*));
    } else if (std::string_view(format).starts_with(kLookupFormat)) {
        listener->heard_.lookupFailed = true;
    } else if (level <= AV_LOG_ERROR && IsTls(context)) {
        std::array<char, kMaxTlsText> text{};
        std::vsnprintf(text.data(), text.size(), format, arguments);
        std::string& all = listener->heard_.tlsText;
        if (!all.empty() || text[0] == '\0') return;  // the first is the cause of the others
        all = text.data();
        all.erase(all.find_last_not_of(" \r\n") + 1);
    }
}

void FfmpegLogListener::TakeHeaderLine(const char* line) {
    const std::string_view text(line);
    constexpr std::string_view kRetryAfter = "retry-after:";
    if (text.starts_with("HTTP/") || text.starts_with("ICY ")) {
        const size_t blank = text.find(' ');
        const size_t code = std::min(text.find_first_not_of(' ', blank), text.size());
        heard_.httpStatus = std::atoi(std::string(text.substr(code)).c_str());
        heard_.retryAfterSeconds.reset();
        wholeAnswer_ = false;
    } else if (text.empty()) {
        wholeAnswer_ = true;
    } else if (ToLowerAscii(text.substr(0, kRetryAfter.size())) == kRetryAfter) {
        heard_.retryAfterSeconds = RetryAfterOf(text.substr(kRetryAfter.size()));
    }
}

}  // namespace receiver
