#include "playlists/stream_address.h"

#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "audio/text_request.h"
#include "platform/thread_name.h"
#include "playlists/playlist.h"

namespace receiver {
namespace {

constexpr int kMaxPlaylists = 5;
constexpr uint64_t kTimeoutMs = 10000;
constexpr uint32_t kInterruptedStepMs = 100;  // how soon an interruption is seen

// The headers may hold what other servers are not to know.
NetworkRequest RequestFor(const std::string& url, const std::string& given,
                          const NetworkRequest& request) {
    NetworkRequest said = request;
    if (!IsSameServer(url, given)) said.headers.clear();
    return said;
}

std::string Follow(const std::string& given, const NetworkRequest& request,
                   const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation) {
    std::string url = given;
    for (int level = 0; level < kMaxPlaylists && MayBePlaylist(url, ""); ++level) {
        const std::optional<TextAnswer> answer =
            RequestText(url, RequestFor(url, given, request), {kTimeoutMs, kMaxPlaylistBytes},
                        MayBePlaylist, cancellation);
        if (!answer || answer->text.empty()) break;
        const auto addresses = ResolvePlaylist(answer->text, answer->contentType, answer->url);
        if (!addresses || addresses->empty()) break;
        url = addresses->front();
    }
    return url;
}

}  // namespace

std::string FindStreamUrl(const std::string& url, const NetworkRequest& request,
                          const ManualResetEvent& interrupted) {
    if (!MayBePlaylist(url, "")) return url;
    const auto cancellation = std::make_shared<CFFmpegNetworkCancellation>();
    ManualResetEvent found;
    std::string stream = url;
    std::thread thread([&] {
        SetCurrentThreadName("record-playlist");
        try {
            stream = Follow(url, request, cancellation);
        } catch (const std::exception&) {  // no memory; the address stays as it is
        }
        found.Signal();
    });
    while (!found.Wait(kInterruptedStepMs)) {
        if (interrupted.IsSignalled()) cancellation->Cancel();
    }
    thread.join();
    return stream;
}

}  // namespace receiver
