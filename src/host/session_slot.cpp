#include "host/session_slot.h"

#include <stdexcept>
#include <utility>

using nlohmann::json;

CSessionSlot::CSessionSlot(std::string instanceId, ReceiverSession::SourceFactory makeSource)
    : instanceId_(std::move(instanceId)), makeSource_(std::move(makeSource)) {}

void CSessionSlot::Create(PreparedProgram program) {
    Reap();
    if (session_) throw std::runtime_error("Receiver already has an active session");
    ++counter_;
    session_ = std::make_unique<ReceiverSession>(
        std::move(program),
        "pcm-pipe://receiver-audio-" + instanceId_ + "-" + std::to_string(counter_),
        [this](json event) { PostEvent(std::move(event)); }, makeSource_);
}

void CSessionSlot::Start() {
    session_->Start();
}

void CSessionSlot::Discard() {
    session_.reset();
}

void CSessionSlot::Poll() {
    if (session_) session_->PollSource();
}

void CSessionSlot::Reap() {
    if (session_ && session_->IsFinished()) session_.reset();
}

void CSessionSlot::RequestStop() {
    if (session_) session_->RequestStop();
}

void CSessionSlot::StopAndJoin() {
    if (!session_) return;
    session_->RequestStop();
    session_->Join();
}

json CSessionSlot::SnapshotOf(const std::string& sessionId) const {
    if (!session_) return nullptr;
    json snapshot = session_->Snapshot();
    if (!sessionId.empty() && snapshot["sessionId"] != sessionId) return nullptr;
    return snapshot;
}

std::vector<json> CSessionSlot::TakeEvents() {
    CLock lock(mutex_);
    return std::exchange(events_, {});
}

void CSessionSlot::WaitForEvents(uint32_t timeoutMs) {
    const SteadyTime deadline = DeadlineIn(timeoutMs);
    CLock lock(mutex_);
    while (events_.empty()) {
        if (!lock.WaitUntil(posted_, deadline)) return;
    }
}

void CSessionSlot::PostEvent(json event) {
    CLock lock(mutex_);
    events_.push_back(std::move(event));
    posted_.notify_all();
}
