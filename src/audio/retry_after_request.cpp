#include "audio/retry_after_request.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "audio/ffmpeg.h"
#include "audio/source_policy.h"
#include "platform/text.h"

namespace receiver {
namespace {

constexpr size_t kMaxHeadBytes = 16384;
constexpr std::string_view kRetryAfter = "retry-after:";

using StreamPtr = std::unique_ptr<AVIOContext, FfmpegDeleter<avio_closep>>;

struct Target {
    std::string transport;  // as FFmpeg opens it
    std::string request;
};

std::optional<Target> TargetOf(const RetryAfterRequest& request) {
    std::array<char, 16> scheme{};
    std::array<char, 512> authority{}, host{};
    std::array<char, 4096> path{};
    int port = -1;
    av_url_split(scheme.data(), scheme.size(), authority.data(), authority.size(), host.data(),
                 host.size(), &port, path.data(), path.size(), request.url.c_str());
    // A login would have to be encoded, and is seldom at a server's door when it is busy.
    if (host[0] == '\0' || authority[0] != '\0') return std::nullopt;
    const bool secure = std::string_view(scheme.data()) == "https";
    const std::string name = std::string_view(host.data()).find(':') == std::string_view::npos
                                 ? host.data()
                                 : "[" + std::string(host.data()) + "]";
    const std::string suffix = port < 0 ? "" : ":" + std::to_string(port);
    const std::string number = std::to_string(port >= 0 ? port : secure ? 443 : 80);
    Target target;
    target.transport = (secure ? "tls://" : "tcp://") + name + ":" + number;
    target.request =
        "GET " + std::string(path[0] == '\0' ? "/" : path.data()) +
        " HTTP/1.1\r\nUser-Agent: " + (request.userAgent.empty() ? "Lavf" : request.userAgent) +
        "\r\nAccept: */*\r\nConnection: close\r\nHost: " + name + suffix + "\r\n" +
        request.headers + "\r\n";
    return target;
}

// Byte by byte: the stream is unbuffered, as one for both directions has to be.
std::string ReceiveHead(AVIOContext& stream) {
    constexpr std::string_view kEnd = "\r\n\r\n";
    std::string head;
    unsigned char byte = 0;
    while (head.size() < kMaxHeadBytes && !head.ends_with(kEnd) &&
           avio_read(&stream, &byte, 1) == 1) {
        head.push_back(static_cast<char>(byte));
    }
    return head;
}

std::optional<uint32_t> FindRetryAfter(std::string_view head) {
    while (!head.empty()) {
        const std::string_view line = head.substr(0, head.find("\r\n"));
        if (ToLowerAscii(line.substr(0, kRetryAfter.size())) == kRetryAfter) {
            return RetryAfterOf(line.substr(kRetryAfter.size()));
        }
        head.remove_prefix(std::min(head.size(), line.size() + 2));
    }
    return std::nullopt;
}

}  // namespace

std::optional<uint32_t> RetryAfterOf(std::string_view value) {
    value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
    value = value.substr(0, value.find_last_not_of(" \t") + 1);
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc() || end != value.data() + value.size()) return std::nullopt;
    return number;
}

std::optional<uint32_t> AskForRetryAfter(const RetryAfterRequest& request,
                                         const AVIOInterruptCB& interrupt) {
    const auto target = TargetOf(request);
    if (!target) return std::nullopt;
    AVDictionary* made = nullptr;
    const int set = SetConnectionOptions(&made, request.timeoutMs,
                                         {.userAgent = {}, .headers = {}, .caFile = request.caFile},
                                         /*isSourcesServer=*/true);
    AVIOContext* opened = nullptr;
    const int result = set < 0
                           ? set
                           : avio_open2(&opened, target->transport.c_str(),
                                        AVIO_FLAG_READ_WRITE | AVIO_FLAG_DIRECT, &interrupt, &made);
    const DictionaryPtr options(made);
    const StreamPtr stream(opened);
    if (result < 0) return std::nullopt;
    avio_write(stream.get(), reinterpret_cast<const unsigned char*>(target->request.data()),
               static_cast<int>(target->request.size()));
    return FindRetryAfter(ReceiveHead(*stream));
}

}  // namespace receiver
