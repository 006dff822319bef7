#include "session/receiver_session.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "session/session_events.h"

namespace receiver {

ReceiverSession::ReceiverSession(PreparedProgram program, std::string audioUri, EventSink postEvent,
                                 SourceFactory makeSource, std::function<void()> onSourceEnd)
    : state_(std::move(program), std::move(audioUri), std::move(postEvent)),
      worker_(state_, std::move(makeSource), std::move(onSourceEnd)) {}

ReceiverSession::~ReceiverSession() {
    RequestStop();
    Join();
}

void ReceiverSession::Start() {
    thread_ = std::thread([this] { worker_.Run(); });
}

void ReceiverSession::Join() {
    if (thread_.joinable()) thread_.join();
}

void ReceiverSession::RequestStop() {
    if (state_.RequestStop()) worker_.CancelChain();
}

void ReceiverSession::PollSource() {
    if (!state_.AwaitsSourceError()) return;
    const auto statistics = worker_.ReadStatistics();
    if (statistics && state_.NoteSource(*statistics)) worker_.CancelChain();
}

nlohmann::json ReceiverSession::Snapshot() const {
    SessionStatus status = state_.Status();
    if (const auto statistics = worker_.ReadStatistics()) status.buffer = statistics;
    return MakeSnapshotObject(status);
}

}  // namespace receiver
