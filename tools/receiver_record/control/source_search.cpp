#include "receiver_record/control/source_search.h"

#include "command_line/public_url.h"
#include "receiver_record/control/cause_texts.h"
#include "receiver_record/control/session_request.h"
#include "wire/messages.h"

namespace receiver {
namespace {

bool DidNotOpen(const SessionRecord& session) {
    if (session.connected || !session.cause) return false;
    const std::string& kind = session.cause->kind;
    return kind != kCauseReference && kind != kCauseMemory && kind != kCauseAudioPipe;
}

}  // namespace

SourceSearch::SourceSearch(const RecordOptions& options, const ManualResetEvent& interrupted,
                           RecordConsole& console)
    : options_(options),
      console_(console),
      addresses_(options.url,
                 [&options, &interrupted](const std::string& url, PlaylistSign sign) {
                     const HttpOptions http = HttpFor(url, options);
                     return AskForPlaylist(url, sign, NetworkRequestOf(http), interrupted);
                 }),
      publicAddress_(PublicUrl(options.url)) {}

void SourceSearch::SetAddress(PrepareRequest& request) {
    request.url = addresses_.Current();
    request.http = HttpFor(request.url, options_);
    publicAddress_ = PublicUrl(request.url);
}

void SourceSearch::TellOfWaiting() {
    if (told_ == publicAddress_) return;
    told_ = publicAddress_;
    const bool isGiven = publicAddress_ == PublicUrl(options_.url);
    console_.Info("Waiting for " + publicAddress_ + (isGiven ? "" : ", which the playlist names"));
}

bool SourceSearch::Next(const SessionRecord& session) {
    if (!DidNotOpen(session)) return false;
    if (isRoundOver_ || !PassesByItself(*roundsCause_)) roundsCause_ = session.cause;
    const bool isNoAudio = session.cause->kind == kCauseNotAudio;
    isRoundOver_ = !addresses_.Next(isNoAudio);
    if (isRoundOver_) return false;
    if (!isNoAudio) {
        console_.Info(SourceFailureText(*session.cause) + "; the playlist names another address");
    }
    return true;
}

std::optional<Cause> SourceSearch::CauseToJudge(const SessionRecord& session) const {
    return DidNotOpen(session) ? roundsCause_ : session.cause;
}

}  // namespace receiver
