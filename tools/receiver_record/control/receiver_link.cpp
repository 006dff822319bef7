#include "receiver_record/control/receiver_link.h"

#include <exception>

#include "platform/clock.h"
#include "platform/executable_path.h"
#include "platform/ids.h"
#include "platform/text.h"
#include "receiver_record/control/log_folder.h"

namespace receiver {

namespace {

using std::chrono::milliseconds;

constexpr uint64_t kStartMs = 20000;
constexpr milliseconds kStartStep(100);  // how soon an interruption is seen
constexpr uint64_t kConnectMs = 10000;
constexpr milliseconds kConnectStep(100);
constexpr milliseconds kReconnectStep(500);
constexpr milliseconds kAnswerTimeout(5000);
constexpr uint64_t kIdleMs = 5000;
constexpr milliseconds kShutdownTimeout(2000);
constexpr milliseconds kExitTimeout(5000);
constexpr milliseconds kTerminateTimeout(2000);
constexpr uint64_t kTidyMs = 3600000;
// The system closes what an ending process held a moment before it calls it ended.
constexpr milliseconds kEndTimeout(100);

}  // namespace

ReceiverLink::ReceiverLink(const RecordOptions& options, const ManualResetEvent& interrupted)
    : options_(options),
      interrupted_(interrupted),
      process_(cancellation_),
      client_(cancellation_) {}

ReceiverLink::~ReceiverLink() {
    EndReceiver();
}

// What still runs afterwards is killed by the process's own destructor.
void ReceiverLink::EndReceiver() {
    if (!process_.IsRunning()) return;
    const bool isTold = !isSilent_ && client_.Shutdown(kShutdownTimeout);
    if (isTold && process_.WaitForExit(kExitTimeout)) return;
    process_.Terminate();
    process_.WaitForExit(kTerminateTimeout);
}

// What is left of a receiver that is of no use any more.
void ReceiverLink::Forget() {
    EndReceiver();
    client_.Disconnect();
    process_ = ReceiverProcess(cancellation_);
    client_ = ReceiverClient(cancellation_);
    started_ = isOpened_ = isSilent_ = false;
}

// A session that is over is cleared away within some milliseconds.
std::optional<Welcome> ReceiverLink::OpenAgain() {
    if (!isOpened_ || isSilent_) return {};
    const uint64_t deadline = TickMs() + kIdleMs;
    for (;;) {
        std::optional<Welcome> welcome = client_.IsConnected() ? client_.Hello(kAnswerTimeout)
                                                               : client_.Reconnect(kReconnectStep);
        if (!welcome) return {};
        if (!welcome->active || TickMs() >= deadline || interrupted_.Wait(10)) return welcome;
    }
}

std::optional<Welcome> ReceiverLink::Open() {
    if (std::optional<Welcome> welcome = OpenAgain()) return welcome;
    if (started_) Forget();
    if (options_.controlUri.empty() && !Start()) return {};
    const std::string& uri = started_ ? process_.ControlUri() : options_.controlUri;
    const uint64_t deadline = TickMs() + kConnectMs;
    for (;;) {
        std::optional<Welcome> welcome = client_.Connect(uri, kConnectStep);
        if (welcome) {
            isOpened_ = true;
            return welcome;
        }
        failure_ = "No receiver answers at " + uri + ": " + client_.LastError().text;
        const bool again = client_.LastError().kind == ErrorKind::kTimedOut ||
                           client_.LastError().kind == ErrorKind::kDisconnected;
        if (!again || TickMs() >= deadline || interrupted_.Wait(10)) return {};
    }
}

bool ReceiverLink::Start() {
    try {
        log_ = ToFilesystemPath(options_.logPath);
        if (log_.empty()) {
            logs_.emplace(LogFolder());
            log_ = logs_->NewLog(CurrentProcessId());
        }
        const uint64_t deadline = TickMs() + kStartMs;
        started_ = process_.Start(ReceiverProgram(), ToUtf8(log_), kStartStep);
        while (!started_ && process_.LastError().kind == ErrorKind::kTimedOut &&
               TickMs() < deadline && !interrupted_.IsSignalled()) {
            started_ = process_.AwaitListening(kStartStep);
        }
        if (!started_) failure_ = process_.LastError().text;
        TidyLogs();
    } catch (const std::exception& e) {
        failure_ = e.what();
    }
    return started_;
}

std::optional<Welcome> ReceiverLink::Reopen() {
    std::optional<Welcome> welcome = client_.Reconnect(kReconnectStep);
    if (!welcome) failure_ = client_.LastError().text;
    return welcome;
}

bool ReceiverLink::IsGone() {
    return (started_ && !process_.IsRunning()) || client_.WaitForReceiverEnd(kEndTimeout);
}

void ReceiverLink::TidyLogs() {
    if (!logs_ || TickMs() < nextTidying_) return;
    logs_->Tidy(CurrentProcessId());
    nextTidying_ = TickMs() + kTidyMs;
}

std::string ReceiverLink::LogFile() const {
    return log_.empty() ? "" : ToUtf8(NewestLog(log_));
}

std::string ReceiverLink::ReceiverProgram() const {
    if (!options_.receiverProgram.empty()) return options_.receiverProgram;
    return ToUtf8(ExecutableDirectory() / "ReceiverHost");
}

}  // namespace receiver
