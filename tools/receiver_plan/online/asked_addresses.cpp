#include "receiver_plan/online/asked_addresses.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <utility>

#include "audio/ffmpeg_network_audio_file.h"
#include "command_line/public_url.h"
#include "platform/manual_reset_event.h"
#include "platform/thread_name.h"
#include "playlists/stream_addresses.h"
#include "receiver_record/control/cause_texts.h"
#include "session/session_events.h"

namespace receiver {
namespace {

// As the receiver tells it.
Cause CauseOf(const SourceFailure& failure) {
    const nlohmann::json told = MakeCauseObject({.source = failure, .referenceId = {}, .text = {}});
    Cause cause;
    cause.kind = told.at("kind").get<std::string>();
    cause.text = told.at("text").get<std::string>();
    if (failure.httpStatus != 0) cause.status = static_cast<uint32_t>(failure.httpStatus);
    return cause;
}

// Nothing when there is audio.
std::optional<SourceFailure> WhyNotOpen(const std::string& url, uint32_t ioTimeoutMs) {
    CFFmpegNetworkAudioFile file(nullptr, ioTimeoutMs);
    SourceFailure failure;
    SourceNotes notes;
    notes.onFailure = [&](const SourceFailure& told) { failure = told; };
    file.SetNotes(notes);
    if (file.Open(url)) return {};
    return failure;
}

AskedAddress AskAddress(const std::string& url, uint32_t ioTimeoutMs) {
    const ManualResetEvent never;
    StreamAddresses addresses(url, [&](const std::string& named, PlaylistSign sign) {
        return AskForPlaylist(named, sign, {}, never);
    });
    AskedAddress asked;
    for (;;) {
        const std::string current = addresses.Current();
        const std::optional<SourceFailure> failure = WhyNotOpen(current, ioTimeoutMs);
        asked.address = PublicUrl(current);
        asked.answers = !failure;
        if (asked.answers) return asked;
        const Cause cause = CauseOf(*failure);
        asked.failure = SourceFailureText(cause);
        asked.mayPass = PassesByItself(cause);
        if (!addresses.Next(failure->kind == SourceFailure::Kind::kNotAudio)) return asked;
    }
}

class Asking final {
public:
    Asking(const std::vector<std::string>& urls, uint32_t ioTimeoutMs)
        : urls_(urls), ioTimeoutMs_(ioTimeoutMs), asked_(urls.size()) {}
    ~Asking() { Join(); }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;

    void Start(size_t helpers) {
        try {
            helpers_.reserve(helpers);
            while (helpers_.size() < helpers) {
                helpers_.emplace_back([this] {
                    SetCurrentThreadName("plan-address");
                    AskNextOnes();
                });
            }
        } catch (const std::exception&) {
            // No thread or no memory for one: those that there are will do.
        }
    }

    void AskNextOnes() {
        for (size_t i = next_++; i < urls_.size(); i = next_++) {
            try {
                asked_[i] = AskAddress(urls_[i], ioTimeoutMs_);
            } catch (const std::exception& error) {
                asked_[i].address = PublicUrl(urls_[i]);
                asked_[i].failure = std::string("It could not be asked: ") + error.what();
                asked_[i].mayPass = true;
            }
        }
    }

    std::vector<AskedAddress> Take() {
        Join();
        return std::move(asked_);
    }

private:
    void Join() {
        for (std::thread& helper : helpers_) helper.join();
        helpers_.clear();
    }

    const std::vector<std::string>& urls_;
    const uint32_t ioTimeoutMs_;
    std::vector<AskedAddress> asked_;  // each element one thread's, until all are joined
    std::atomic<size_t> next_{0};
    std::vector<std::thread> helpers_;
};

}  // namespace

std::vector<AskedAddress> AskAddresses(const std::vector<std::string>& urls, uint32_t ioTimeoutMs) {
    Asking asking(urls, ioTimeoutMs);
    asking.Start(std::min(urls.size(), kMaxAskedAtOnce) - (urls.empty() ? 0 : 1));
    asking.AskNextOnes();
    return asking.Take();
}

}  // namespace receiver
