// The process's long-lived resources and its run loop: one control client, one
// session, until SHUTDOWN or a console control event.
//
//   Threads  the main thread only.
//   Errors   the constructor throws std::runtime_error "Cannot open receiver log"
//            or "Cannot create instance id"; Run throws "Control Listen failed".
#pragma once

#include <memory>
#include <string>

#include "host/control_channel.h"
#include "host/control_protocol.h"
#include "host/session_slot.h"
#include "log/log.h"
#include "pipe/pcm_pipe_cancellation.h"
#include "platform/console_control.h"

class CReceiverHost final {
public:
    CReceiverHost(const std::string& controlUri, const std::string& logPath);
    ~CReceiverHost();
    CReceiverHost(const CReceiverHost&) = delete;
    CReceiverHost& operator=(const CReceiverHost&) = delete;

    int Run();  // the process's exit code

private:
    const std::string controlUri_;
    const std::shared_ptr<CPcmPipeCancellation> cancellation_;
    std::unique_ptr<CLog> log_;
    std::string instanceId_;
    std::unique_ptr<CControlChannel> channel_;
    std::unique_ptr<CSessionSlot> slot_;
    std::unique_ptr<CControlProtocol> protocol_;
    std::unique_ptr<CConsoleControl> consoleControl_;
};
