// The process's long-lived resources and its run loop: one control client, one
// session, until SHUTDOWN or a console control event.
//
//   Threads  the main thread only.
//   Errors   the constructor throws std::runtime_error "Cannot open receiver log"
//            or "Cannot create instance id", or what its members throw; Run throws
//            ControlListenError "Control Listen failed".
#pragma once

#include <memory>
#include <string>

#include "host/control_channel.h"
#include "host/control_protocol.h"
#include "host/session_slot.h"
#include "log/log.h"
#include "pipe/pcm_pipe.h"
#include "pipe/pcm_pipe_cancellation.h"
#include "platform/console_control.h"

namespace receiver {

class CReceiverHost final {
public:
    // Paths and URIs as on the command line, in the ANSI code page.
    // Without a `makeSource` sessions listen to the network.
    CReceiverHost(const std::string& controlUri, const std::string& logPath,
                  ReceiverSession::SourceFactory makeSource = {});
    ~CReceiverHost();
    CReceiverHost(const CReceiverHost&) = delete;
    CReceiverHost& operator=(const CReceiverHost&) = delete;

    int Run();  // the process's exit code

private:
    void RunPassOrDisconnect();
    void RunPass();  // throws std::bad_alloc

    // In the order in which the host comes up; it goes down in reverse. The log is
    // closed before the control pipe, so that a controlling program that sees the pipe
    // end finds the log complete and free.
    const std::string controlUri_;
    const std::shared_ptr<CPcmPipeCancellation> cancellation_;
    CPcmPipe pipe_;
    const std::unique_ptr<CLog> log_;
    const std::string instanceId_;
    ControlChannel channel_;
    SessionSlot slot_;
    ControlProtocol protocol_;
    ConsoleControl consoleControl_;
};

}  // namespace receiver
