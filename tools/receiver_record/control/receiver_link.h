// The receiver behind a recording: one that this object starts and ends, or one that
// runs already, and the control connection to it.
//
//   Threads  one.
//   Errors   by result, with FailureText() for people.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/manual_reset_event.h"
#include "receiver_client/receiver_client.h"
#include "receiver_client/receiver_process.h"
#include "receiver_record/control/receiver_logs.h"
#include "receiver_record/request/record_options.h"

namespace receiver {

class ReceiverLink final {
public:
    // Both outlive the object. The event ends the wait for a receiver.
    ReceiverLink(const RecordOptions& options, const ManualResetEvent& interrupted);
    // Ends the receiver that was started: by SHUTDOWN, by a request of the system where that
    // is not answered, and by force where that does not help.
    ~ReceiverLink();
    ReceiverLink(const ReceiverLink&) = delete;
    ReceiverLink& operator=(const ReceiverLink&) = delete;

    // The receiver that is there, or one that is started.
    std::optional<Welcome> Open();
    // Whether Open starts another receiver once this one is gone or does not answer.
    bool CanReplace() const { return options_.controlUri.empty(); }
    ReceiverClient& Client() { return client_; }
    // What the receiver does, after the connection was lost. Nothing while it cannot be
    // reached; IsGone tells whether trying again can help.
    std::optional<Welcome> Reopen();
    bool IsGone();  // the receiver's process has ended
    // The receiver no longer answers, and is not asked for anything any more.
    void GiveUp() { isSilent_ = true; }
    bool HasGivenUp() const { return isSilent_; }

    // Of the receiver that was started; empty while there is none.
    std::string LogFile() const;
    void TidyLogs();  // does something once an hour
    const std::string& FailureText() const { return failure_; }

private:
    bool Start();
    std::optional<Welcome> OpenAgain();
    void Forget();
    void EndReceiver();
    std::string ReceiverProgram() const;

    const RecordOptions& options_;
    const ManualResetEvent& interrupted_;
    Cancellation cancellation_;
    ReceiverProcess process_;
    ReceiverClient client_;
    bool started_ = false;
    bool isOpened_ = false;
    bool isSilent_ = false;
    std::filesystem::path log_;         // as the receiver was told; empty without one
    std::optional<ReceiverLogs> logs_;  // where they are ours to tidy
    uint64_t nextTidying_ = 0;          // TickMs
    std::string failure_;
};

}  // namespace receiver
