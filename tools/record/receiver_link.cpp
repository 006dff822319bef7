#include "record/receiver_link.h"

#include <system_error>

#include "platform/clock.h"
#include "platform/executable_path.h"
#include "platform/ids.h"
#include "platform/text.h"

namespace receiver {

namespace fs = std::filesystem;

namespace {

using receiver::ErrorKind;
using std::chrono::milliseconds;

constexpr milliseconds kStartTimeout(20000);
constexpr uint64_t kConnectMs = 10000;
constexpr milliseconds kConnectStep(100);  // how soon an interruption is seen
constexpr milliseconds kReconnectStep(500);
constexpr milliseconds kShutdownTimeout(2000);
constexpr milliseconds kExitTimeout(10000);

}  // namespace

ReceiverLink::ReceiverLink(const RecordOptions& options, const ManualResetEvent& interrupted)
    : options_(options),
      interrupted_(interrupted),
      process_(cancellation_),
      client_(cancellation_) {}

ReceiverLink::~ReceiverLink() {
    if (started_) {
        client_.Shutdown(kShutdownTimeout);
        process_.WaitForExit(kExitTimeout);
    }
    std::error_code ignored;  // a log that is left in the temporary folder does no harm
    if (!temporaryLog_.empty()) fs::remove_all(temporaryLog_, ignored);
}

std::optional<receiver::Welcome> ReceiverLink::Open() {
    if (options_.controlUri.empty() && !Start()) return {};
    const std::string& uri = started_ ? process_.ControlUri() : options_.controlUri;
    const uint64_t deadline = TickMs() + kConnectMs;
    for (;;) {
        std::optional<receiver::Welcome> welcome = client_.Connect(uri, kConnectStep);
        if (welcome) return welcome;
        failure_ = "No receiver answers at " + uri + ": " + client_.LastError().text;
        const bool again = client_.LastError().kind == ErrorKind::kTimedOut ||
                           client_.LastError().kind == ErrorKind::kDisconnected;
        if (!again || TickMs() >= deadline || interrupted_.Wait(10)) return {};
    }
}

bool ReceiverLink::Start() {
    try {
        std::string log = options_.logPath;
        if (log.empty()) {
            temporaryLog_ = fs::temp_directory_path() / ("receiver-record-" + CreateInstanceId());
            fs::create_directory(temporaryLog_);
            log = ToUtf8(temporaryLog_ / "receiver.log");
        }
        started_ = process_.Start(ReceiverProgram(), log, kStartTimeout);
        if (!started_) failure_ = process_.LastError().text;
    } catch (const std::exception& e) {
        failure_ = e.what();
    }
    return started_;
}

std::optional<receiver::Welcome> ReceiverLink::Reopen() {
    std::optional<receiver::Welcome> welcome = client_.Reconnect(kReconnectStep);
    if (!welcome) failure_ = client_.LastError().text;
    return welcome;
}

bool ReceiverLink::IsGone() {
    return started_ && process_.WaitForExit(milliseconds(0)).has_value();
}

std::string ReceiverLink::KeepLog() {
    std::error_code error;
    if (temporaryLog_.empty()) return options_.logPath;
    if (fs::is_empty(temporaryLog_, error)) return "";  // it never came so far
    std::string kept = ToUtf8(temporaryLog_);
    temporaryLog_.clear();
    return kept;
}

std::string ReceiverLink::ReceiverProgram() const {
    if (!options_.receiverProgram.empty()) return options_.receiverProgram;
    return ToUtf8(ExecutableDirectory() / "ReceiverHost");
}

}  // namespace receiver
