#include "receiver_record/control/receiver_watch.h"

#include <algorithm>

namespace receiver {
namespace {

constexpr std::chrono::milliseconds kAnswerStep(1000);  // how soon an interruption is seen
constexpr uint64_t kMinLookMs = 1000;
// A welcome carries the whole snapshot; it is not asked for well before it becomes too long to
// send.
constexpr size_t kMaxMatches = 150;
// No session is called so: those of receiver-record have another form.
constexpr const char* kNoSession = "none";

}  // namespace

void ReceiverWatch::Heard(uint64_t when) {
    if (when <= lastHeard_) return;
    lastHeard_ = when;
    unanswered_ = 0;
}

bool ReceiverWatch::IsTime(const SessionRecord& session, bool isLookedAt, uint64_t now) const {
    if (unanswered_ > 0) return true;
    if (now > lastHeard_ && now - lastHeard_ >= kQuietMs) return true;
    if (!isLookedAt || session.matches.size() > kMaxMatches) return false;
    const bool isNews = session.state != lookedAtState_;
    return lastLook_ == 0 || now - lastLook_ >= (isNews ? kMinLookMs : kLookMs);
}

std::optional<BufferStatistics> ReceiverWatch::Ask(const SessionRecord& session, bool isLookedAt,
                                                   uint64_t now) {
    if (session.finished || session.over || !IsTime(session, isLookedAt, now)) return {};
    lastLook_ = now;
    lookedAtState_ = session.state;
    std::optional<Welcome> welcome;
    NoteAnswer(Question(session, &welcome), now);
    return welcome && welcome->active ? welcome->active->buffer : std::nullopt;
}

bool ReceiverWatch::Answers(const SessionRecord& session, uint64_t now) {
    if (session.finished || session.over) return false;
    std::optional<Welcome> welcome;
    const bool isAnswered = Question(session, &welcome);
    NoteAnswer(isAnswered, now);
    return isAnswered;
}

bool ReceiverWatch::Question(const SessionRecord& session, std::optional<Welcome>* welcome) {
    if (session.matches.size() <= kMaxMatches) {
        *welcome = client_.Hello(kAnswerStep);
        return welcome->has_value();
    }
    // A refusal is short, whatever the session has heard.
    return client_.Cancel(kNoSession, kAnswerStep) ||
           client_.LastError().kind == ErrorKind::kRejected;
}

// A connection that is lost is another matter, and its loss is seen by whoever follows it.
void ReceiverWatch::NoteAnswer(bool isAnswered, uint64_t now) {
    if (isAnswered) lastHeard_ = std::max(lastHeard_, now);
    const bool isSilent = !isAnswered && client_.LastError().kind == ErrorKind::kTimedOut;
    unanswered_ = isSilent ? unanswered_ + 1 : 0;
}

}  // namespace receiver
