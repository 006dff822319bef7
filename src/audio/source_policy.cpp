#include "audio/source_policy.h"

#include <cstring>

#include "audio/ffmpeg.h"
#include "platform/text.h"

extern "C" {
#include <libavutil/avstring.h>
}

namespace receiver {
namespace {

constexpr const char* kFileProtocol = "file";
// The formats that name other files and addresses, some of which do not ask the hook below;
// beside them those that open whatever they read by themselves.
constexpr const char* kReferringDemuxers = "concat,dash,hls,imf,rtp,rtsp,sap,sdp,vobsub";

std::string ListSelfContainedDemuxers() {
    std::string list;
    void* position = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&position)) {
        const bool opensItself = (format->flags & AVFMT_NOFILE) != 0;
        if (opensItself || av_match_list(format->name, kReferringDemuxers, ',') > 0) continue;
        list.append(list.empty() ? "" : ",") += format->name;
    }
    return list;
}

// FFmpeg's hook for whatever a context opens. Called with the input's own name before it
// has a stream, and after that with what its bytes name.
int OpenOneFile(AVFormatContext* context, AVIOContext** stream, const char* url, int flags,
                AVDictionary** options) {
    const bool isInput = context->pb == nullptr && std::strcmp(url, context->url) == 0;
    if (!isInput) return AVERROR(EPERM);
    // Told that it is a file, FFmpeg looks for no protocol in a name with a colon.
    const std::string file = std::string("file:") + url;
    return avio_open2(stream, file.c_str(), flags, &context->interrupt_callback, options);
}

std::string_view WithoutDecryption(std::string_view url) {
    constexpr std::string_view kDecrypted = "crypto+";
    if (url.starts_with(kDecrypted)) url.remove_prefix(kDecrypted.size());
    return url;
}

// Scheme, host and port as they are written, the host in lower case.
std::string ServerOf(std::string_view url) {
    url = WithoutDecryption(url);
    const size_t scheme = url.find("://");
    if (scheme == std::string_view::npos) return std::string(url);
    const size_t begin = scheme + 3;
    const size_t end = url.find_first_of("/?#\\", begin);
    std::string_view authority = url.substr(begin, end - begin);
    // The last one: what comes before it is the user's part, whatever that holds.
    if (const size_t user = authority.rfind('@'); user != std::string_view::npos) {
        authority.remove_prefix(user + 1);
    }
    return ToLowerAscii(std::string(url.substr(0, begin))) + ToLowerAscii(std::string(authority));
}

}  // namespace

bool IsNetworkUrl(std::string_view url) {
    url = WithoutDecryption(url);
    return url.starts_with("http://") || url.starts_with("https://");
}

int SetNetworkFormats(AVDictionary** options) {
    std::string formats;
    for (const char* name : kNetworkDemuxers) formats.append(formats.empty() ? "" : ",") += name;
    int result = av_dict_set(options, "format_whitelist", formats.c_str(), 0);
    if (result >= 0) result = av_dict_set(options, "protocol_whitelist", kNetworkProtocols, 0);
    // A connection that HLS keeps for its next request does not come by io_open, nor does it
    // tell HTTP from HTTPS.
    if (result >= 0) result = av_dict_set(options, "http_persistent", "0", 0);
    return result;
}

bool IsSameServer(std::string_view url, std::string_view other) {
    return ServerOf(url) == ServerOf(other);
}

int SetConnectionOptions(AVDictionary** options, uint64_t timeoutMs, const NetworkRequest& request,
                         bool isSourcesServer) {
    int result = av_dict_set_int(options, "rw_timeout", static_cast<int64_t>(timeoutMs) * 1000, 0);
    if (result >= 0) result = av_dict_set(options, "tls_verify", "1", 0);
    if (result >= 0) result = av_dict_set(options, "http_proxy", "", 0);
    if (result >= 0) result = av_dict_set(options, "protocol_whitelist", kNetworkProtocols, 0);
    if (result >= 0 && !request.userAgent.empty()) {
        result = av_dict_set(options, "user_agent", request.userAgent.c_str(), 0);
    }
    if (result >= 0 && !request.caFile.empty()) {
        result = av_dict_set(options, "ca_file", request.caFile.c_str(), 0);
    }
    // Set even when there is nothing to say: a playlist hands its own on to its segments.
    if (result >= 0 && !request.headers.empty()) {
        const char* headers = isSourcesServer ? request.headers.c_str() : "";
        result = av_dict_set(options, "headers", headers, 0);
    }
    return result;
}

int RestrictToOneFile(AVFormatContext* context, AVDictionary** options) {
    static const std::string formats = ListSelfContainedDemuxers();
    context->io_open = &OpenOneFile;
    const int result = av_dict_set(options, "format_whitelist", formats.c_str(), 0);
    return result < 0 ? result : av_dict_set(options, "protocol_whitelist", kFileProtocol, 0);
}

}  // namespace receiver
