// What each platform provides beneath ChildProcess.
#pragma once

#include "platform/child_process.h"

namespace receiver {

class ChildProcessHandle {
public:
    virtual ~ChildProcessHandle() = default;  // kills and waits

    // Waits for news of the child: bytes of a captured stream or its end, or the exit code.
    // What is known already is no news. False once the deadline has passed.
    virtual bool WaitForNews(ChildStream& output, ChildStream& errors, std::optional<int>& exitCode,
                             uint64_t deadlineTickMs) = 0;
    virtual void Interrupt() = 0;
    virtual void AskToEnd() = 0;
    virtual void Terminate() = 0;
    virtual void Kill() = 0;
    virtual uint32_t Id() const = 0;
};

// Throws std::runtime_error "Cannot start PROGRAM".
std::unique_ptr<ChildProcessHandle> StartChildProcess(const std::string& program,
                                                      const std::vector<std::string>& arguments,
                                                      ChildProcess::ErrorStream errorStream);

}  // namespace receiver
