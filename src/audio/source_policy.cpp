#include "audio/source_policy.h"

#include <cstring>

#include "audio/ffmpeg.h"

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

}  // namespace

bool IsNetworkUrl(std::string_view url) {
    constexpr std::string_view kDecrypted = "crypto+";
    if (url.starts_with(kDecrypted)) url.remove_prefix(kDecrypted.size());
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

int SetConnectionOptions(AVDictionary** options, uint64_t timeoutMs) {
    int result = av_dict_set_int(options, "rw_timeout", static_cast<int64_t>(timeoutMs) * 1000, 0);
    if (result >= 0) result = av_dict_set(options, "tls_verify", "1", 0);
    if (result >= 0) result = av_dict_set(options, "http_proxy", "", 0);
    if (result >= 0) result = av_dict_set(options, "protocol_whitelist", kNetworkProtocols, 0);
    return result;
}

int RestrictToOneFile(AVFormatContext* context, AVDictionary** options) {
    static const std::string formats = ListSelfContainedDemuxers();
    context->io_open = &OpenOneFile;
    const int result = av_dict_set(options, "format_whitelist", formats.c_str(), 0);
    return result < 0 ? result : av_dict_set(options, "protocol_whitelist", kFileProtocol, 0);
}

}  // namespace receiver
