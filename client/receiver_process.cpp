#include "receiver_client/receiver_process.h"

#include <algorithm>
#include <exception>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/ids.h"
#include "wire/messages.h"

namespace receiver {
namespace {

// How soon a cancellation is seen while the receiver starts.
constexpr uint64_t kCancellationStepMs = 50;
constexpr uint64_t kLastWordsMs = 2000;
constexpr uint64_t kEndMs = 5000;

uint64_t TickDeadline(ReceiverProcess::Milliseconds timeout) {
    return TickMs() + static_cast<uint64_t>(std::max<int64_t>(timeout.count(), 0));
}

}  // namespace

class ReceiverProcess::Process {
public:
    explicit Process(const Cancellation& cancellation) : cancellation_(cancellation) {}
    ~Process() {
        if (!child_) return;
        child_->AskToEnd();
        child_->WaitForExit(TickMs() + kEndMs);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    bool Start(const std::string& program, const std::string& logPath, uint64_t deadline) {
        uri_ = "pcm-pipe://receiver-control-" + CreateInstanceId();
        try {
            child_ = std::make_unique<ChildProcess>(program, std::vector{uri_, logPath},
                                                    ChildProcess::ErrorStream::kCapture);
        } catch (const std::exception& e) {
            return Fail(ErrorKind::kSystem, e.what());
        }
        return AwaitListening(deadline);
    }

    bool AwaitListening(uint64_t deadline) {
        for (;;) {
            const std::optional<std::string> line =
                child_->ReadLine(std::min(deadline, TickMs() + kCancellationStepMs));
            if (line) {
                if (*line == kListeningPrefix + uri_) return true;
                return Fail(ErrorKind::kProtocol, "The program is no receiver: " + *line);
            }
            if (const std::optional<int> code = child_->WaitForExit(0)) return FailExit(*code);
            if (cancellation_.IsCancelled()) return Fail(ErrorKind::kCancelled, "Cancelled");
            if (TickMs() >= deadline) {
                return Fail(ErrorKind::kTimedOut, "The receiver did not listen in time");
            }
        }
    }

    std::unique_ptr<ChildProcess> child_;
    std::string uri_;
    Error failure_;

private:
    bool FailExit(int code) {
        std::string words = child_->ReadAllErrors(TickMs() + kLastWordsMs).value_or("");
        while (!words.empty() && words.back() == '\n') words.pop_back();
        return Fail(ErrorKind::kSystem, "The receiver ended with exit code " +
                                            std::to_string(code) +
                                            (words.empty() ? words : ": " + words));
    }

    bool Fail(ErrorKind kind, std::string text) {
        failure_ = {kind, 0, std::move(text)};
        return false;
    }

    const Cancellation cancellation_;
};

ReceiverProcess::ReceiverProcess(const Cancellation& cancellation)
    : process_(std::make_unique<Process>(cancellation)) {}

ReceiverProcess::~ReceiverProcess() = default;
ReceiverProcess::ReceiverProcess(ReceiverProcess&& other) noexcept = default;
ReceiverProcess& ReceiverProcess::operator=(ReceiverProcess&& other) noexcept = default;

bool ReceiverProcess::Start(const std::string& program, const std::string& logPath,
                            Milliseconds timeout) {
    return process_->Start(program, logPath, TickDeadline(timeout));
}

bool ReceiverProcess::AwaitListening(Milliseconds timeout) {
    return process_->AwaitListening(TickDeadline(timeout));
}

const std::string& ReceiverProcess::ControlUri() const {
    return process_->uri_;
}

uint32_t ReceiverProcess::ProcessId() const {
    return process_->child_->ProcessId();
}

std::optional<int> ReceiverProcess::WaitForExit(Milliseconds timeout) {
    return process_->child_->WaitForExit(TickDeadline(timeout));
}

void ReceiverProcess::Terminate() {
    if (process_->child_ != nullptr) process_->child_->AskToEnd();
}

bool ReceiverProcess::IsRunning() {
    return process_->child_ != nullptr && !process_->child_->WaitForExit(0);
}

const Error& ReceiverProcess::LastError() const {
    return process_->failure_;
}

}  // namespace receiver
