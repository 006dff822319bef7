#include "playlists/stream_address.h"

#include <exception>
#include <memory>
#include <optional>
#include <thread>

#include "audio/text_request.h"
#include "platform/thread_name.h"
#include "playlists/playlist.h"

namespace receiver {
namespace {

constexpr uint64_t kTimeoutMs = 10000;
constexpr uint32_t kInterruptedStepMs = 100;  // how soon an interruption is seen

std::vector<std::string> Request(const std::string& url, PlaylistSign sign,
                                 const NetworkRequest& request,
                                 const std::shared_ptr<CFFmpegNetworkCancellation>& cancellation) {
    const auto isWanted = [sign](const std::string& where, const std::string& contentType) {
        return sign == PlaylistSign::kName ? MayBePlaylist(where, contentType)
                                           : MayHoldPlaylist(contentType);
    };
    const std::optional<TextAnswer> answer =
        RequestText(url, request, {kTimeoutMs, kMaxPlaylistBytes}, isWanted, cancellation);
    if (!answer || answer->text.empty()) return {};
    return ResolvePlaylist(answer->text, answer->contentType, answer->url)
        .value_or(std::vector<std::string>());
}

}  // namespace

std::vector<std::string> AskForPlaylist(const std::string& url, PlaylistSign sign,
                                        const NetworkRequest& request,
                                        const ManualResetEvent& interrupted) {
    if (sign == PlaylistSign::kName && !MayBePlaylist(url, "")) return {};
    const auto cancellation = std::make_shared<CFFmpegNetworkCancellation>();
    ManualResetEvent found;
    std::vector<std::string> addresses;
    std::thread thread([&] {
        SetCurrentThreadName("record-playlist");
        try {
            addresses = Request(url, sign, request, cancellation);
        } catch (const std::exception&) {  // no memory: it names none
        }
        found.Signal();
    });
    while (!found.Wait(kInterruptedStepMs)) {
        if (interrupted.IsSignalled()) cancellation->Cancel();
    }
    thread.join();
    return addresses;
}

}  // namespace receiver
