#include "host/receiver_host.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "log/file_log.h"
#include "platform/ids.h"
#include "platform/standard_streams.h"
#include "wire/messages.h"

namespace receiver {
namespace {

constexpr uint64_t kMaxLogBytes = 0x8000000;  // bytes
constexpr int32_t kLogBufferBytes = 8192;

std::unique_ptr<CLog> OpenLog(const std::string& path) {
    auto file = std::make_unique<CFileLog>(path, kMaxLogBytes, kLogBufferBytes);
    if (!file->IsOpen()) throw std::runtime_error("Cannot open receiver log");
    return std::make_unique<CLog>(std::move(file), CLog::Options{});
}

}  // namespace

CReceiverHost::CReceiverHost(const std::string& controlUri, const std::string& logPath,
                             ReceiverSession::SourceFactory makeSource)
    : controlUri_(controlUri),
      cancellation_(std::make_shared<CPcmPipeCancellation>()),
      pipe_(cancellation_),
      log_(OpenLog(logPath)),
      instanceId_(CreateInstanceId()),
      channel_(controlUri_, pipe_, *log_),
      slot_(instanceId_, std::move(makeSource)),
      protocol_(instanceId_, channel_, slot_),
      consoleControl_(cancellation_->Event()) {}

CReceiverHost::~CReceiverHost() {
    slot_.StopAndJoin();  // while the handler still keeps a second Ctrl+C from killing us
}

int CReceiverHost::Run() {
    channel_.Listen();
    // A stop that came this early may have kept the pipe from being made.
    if (!cancellation_->IsCancelled()) WriteStandardOutputLine(kListeningPrefix + controlUri_);
    while (!protocol_.IsStopRequested() && !cancellation_->IsCancelled()) RunPassOrDisconnect();
    slot_.StopAndJoin();
    protocol_.ForwardEvents();
    slot_.Reap();
    channel_.LogMessage({{"type", "HOST_STOPPED"}});
    return 0;
}

void CReceiverHost::RunPassOrDisconnect() {
    try {
        RunPass();
    } catch (const std::bad_alloc&) {
        // A message was lost, or part of one. The end of the connection tells the client so; the
        // next one begins with how things stand.
        channel_.Disconnect();
    }
}

void CReceiverHost::RunPass() {
    slot_.TakeBackWakeUp();  // what comes from here on makes another pass
    slot_.Poll();
    slot_.Reap();
    if (slot_.TakeUntoldEnd() && channel_.IsConnected()) channel_.Disconnect();
    if (channel_.IsConnected()) {
        channel_.ReadMessages([this](const nlohmann::json& message) {
            protocol_.Dispatch(message);
            return !protocol_.IsStopRequested();
        });
    } else {
        channel_.AcceptClient(0);
    }
    protocol_.ForwardEvents();
    if (!protocol_.IsStopRequested()) channel_.WaitForNews(slot_.WakeUp(), slot_.NextPollMs());
}

}  // namespace receiver
