#include "host/session_slot.h"

#include <stdexcept>
#include <utility>

#include "wire/messages.h"
#include "wire/rejections.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr uint64_t kPollMs = 50;

// The control pipe cannot be waited on without it.
std::unique_ptr<WakeUpEvent> CreateWakeUp() {
    try {
        return std::make_unique<WakeUpEvent>();
    } catch (const std::runtime_error&) {
        throw std::runtime_error("Could not initialize pipe I/O");
    }
}

}  // namespace

SessionSlot::SessionSlot(std::string instanceId, ReceiverSession::SourceFactory makeSource)
    : instanceId_(std::move(instanceId)),
      makeSource_(std::move(makeSource)),
      wakeUp_(CreateWakeUp()) {}

void SessionSlot::Create(PreparedProgram program) {
    Reap();
    if (session_) throw std::runtime_error(kRejectedActiveSession);
    ++counter_;
    session_ = std::make_unique<ReceiverSession>(
        std::move(program),
        "pcm-pipe://receiver-audio-" + instanceId_ + "-" + std::to_string(counter_),
        [this](json event) { PostEvent(std::move(event)); }, makeSource_,
        [this] { wakeUp_->Signal(); });
}

void SessionSlot::Start() {
    session_->Start();
}

void SessionSlot::Discard() {
    session_.reset();
}

void SessionSlot::Poll() {
    if (session_) session_->PollSource();
}

void SessionSlot::Reap() {
    if (!session_ || !session_->IsFinished()) return;
    session_.reset();
    MutexLock lock(mutex_);
    if (!std::exchange(endIsPosted_, false)) endIsUntold_ = true;
}

void SessionSlot::RequestStop() {
    if (session_) session_->RequestStop();
}

void SessionSlot::StopAndJoin() {
    if (!session_) return;
    session_->RequestStop();
    session_->Join();
}

bool SessionSlot::Holds(const std::string& sessionId) const {
    return session_ && (sessionId.empty() || sessionId == session_->Id());
}

json SessionSlot::SnapshotOf(const std::string& sessionId) const {
    return Holds(sessionId) ? session_->Snapshot() : json();
}

std::optional<SessionState::Standing> SessionSlot::StandingOf(const std::string& sessionId) const {
    if (!Holds(sessionId)) return std::nullopt;
    return session_->GetStanding();
}

std::vector<json> SessionSlot::TakeEvents() {
    MutexLock lock(mutex_);
    return std::exchange(events_, {});
}

uint64_t SessionSlot::NextPollMs() const {
    if (!session_) return UINT64_MAX;
    return session_->IsFinished() ? 0 : kPollMs;
}

void SessionSlot::PostEvent(json event) {
    const bool isEnd = event.value("type", "") == kEventFinished;
    {
        MutexLock lock(mutex_);
        events_.push_back(std::move(event));
        endIsPosted_ = isEnd;
    }
    wakeUp_->Signal();
}

}  // namespace receiver
