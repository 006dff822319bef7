#include "receiver_record/control/cause_texts.h"

#include <algorithm>

#include "receiver_record/control/cause_hints.h"
#include "wire/messages.h"

namespace receiver {
namespace {

bool IsBusy(uint32_t status) {
    return status == 408 || status == 429 || status >= 500;
}

std::string HttpText(const Cause& cause) {
    const uint32_t status = cause.status.value_or(0);
    const std::string told = " (" + cause.text + ")";
    if (status == 401) return "The station asks for a user's name and password" + told;
    if (status == 403) return "The station does not let this listener in" + told;
    if (status == 404 || status == 410) return "There is nothing at this address" + told;
    if (status == 429) return "The station has been asked too often" + told;
    if (status >= 500) return "The station is out of order, or full" + told;
    return "The station refuses the request" + told;
}

Verdict DecideByReference(const Cause& cause, const std::vector<Reference>& references) {
    const std::string id = cause.referenceId.value_or("");
    const auto found = std::find_if(references.begin(), references.end(),
                                    [&](const Reference& reference) { return reference.id == id; });
    const std::string which = found == references.end() ? id : found->path;
    return {ExitCode::kUsage,
            "The recording to listen for " + which + " cannot be used: " + cause.text};
}

}  // namespace

std::string SourceFailureText(const Cause& cause) {
    const std::string& kind = cause.kind;
    if (kind == kCauseHttp) return HttpText(cause);
    if (kind == kCauseNameLookup) {
        return "There is no such host, or no name server answers: " + cause.text;
    }
    if (kind == kCauseRefused) return "No server answers at the station's host: " + cause.text;
    if (kind == kCauseUnreachable) return "There is no way to the station: " + cause.text;
    if (kind == kCauseTls) return "The station cannot be trusted: " + cause.text;
    if (kind == kCauseTimeout) {
        return "The station did not answer in time" +
               std::string(RefusalLooksLikeTimeout() ? ", or its host refuses the connection" : "");
    }
    if (kind == kCauseNotAudio) {
        return "There is no audio at this address: it may be that of a web page, not of the stream";
    }
    if (kind == kCauseReset) return "The connection to the station was broken off";
    if (kind == kCauseEnded) return "The stream ended";
    return "The source failed: " + cause.text;
}

bool PassesByItself(const Cause& cause) {
    const std::string& kind = cause.kind;
    if (kind == kCauseHttp) return IsBusy(cause.status.value_or(0));
    return kind == kCauseRefused || kind == kCauseUnreachable || kind == kCauseTimeout ||
           kind == kCauseReset;
}

Verdict DecideByCause(const Cause& cause, const std::vector<Reference>& references) {
    const std::string& kind = cause.kind;
    if (kind == kCauseReference) return DecideByReference(cause, references);
    if (kind == kCauseMemory || kind == kCauseAudioPipe) {
        return {ExitCode::kFailure, "The receiver failed: " + cause.text};
    }
    if (kind == kCauseEnded) {
        return {ExitCode::kStartNotFound, "The source ended, and no start recording was heard"};
    }
    return {ExitCode::kSourceError, SourceFailureText(cause)};
}

}  // namespace receiver
