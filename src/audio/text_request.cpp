#include "audio/text_request.h"

#include <algorithm>
#include <array>

#include "audio/ffmpeg.h"
#include "audio/network_access.h"

namespace receiver {
namespace {

using StreamPtr = std::unique_ptr<AVIOContext, FfmpegDeleter<avio_closep>>;

std::string OptionOf(AVIOContext& stream, const char* name) {
    uint8_t* value = nullptr;
    if (av_opt_get(&stream, name, AV_OPT_SEARCH_CHILDREN, &value) < 0 || value == nullptr)
        return "";
    std::string text(reinterpret_cast<const char*>(value));
    av_free(value);
    return text;
}

std::string ReadText(AVIOContext& stream, size_t maxBytes) {
    std::array<unsigned char, 4096> piece{};
    std::string text;
    while (text.size() < maxBytes) {
        const size_t room = std::min(piece.size(), maxBytes - text.size());
        const int count = avio_read_partial(&stream, piece.data(), static_cast<int>(room));
        if (count <= 0) break;
        text.append(reinterpret_cast<const char*>(piece.data()), static_cast<size_t>(count));
    }
    return text;
}

}  // namespace

std::optional<TextAnswer> RequestText(
    const std::string& url, const NetworkRequest& request, const TextLimits& limits,
    const std::function<bool(const std::string& url, const std::string& contentType)>& isWanted,
    const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation) {
    SilenceFfmpegLog();
    const auto access = std::make_shared<NetworkAccess>(cancellation, limits.timeoutMs, request);
    access->ArmDeadline();
    AVIOContext* opened = nullptr;
    const int result = access->Open(&opened, url.c_str(), AVIO_FLAG_READ, nullptr);
    const StreamPtr stream(opened);
    if (result < 0 || stream == nullptr) return std::nullopt;
    TextAnswer answer;
    answer.url = OptionOf(*stream, "location");
    if (answer.url.empty()) answer.url = url;
    answer.contentType = OptionOf(*stream, "mime_type");
    if (isWanted(answer.url, answer.contentType)) {
        answer.text = ReadText(*stream, limits.maxBytes);
    }
    return answer;
}

}  // namespace receiver
