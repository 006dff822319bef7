// Standard output or standard error as a stream of bytes, for a thread that must not be held
// for ever by a reader that has stopped reading.
//
//   Threads  one thread writes; Stop may come from any.
//   Errors   by result; FailureText tells why, for people.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace receiver {

// An interface, so that tests can be the stream.
class OutputStream {
public:
    OutputStream() = default;
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;
    virtual ~OutputStream() = default;

    // All of the bytes, however long the reader takes; false once it is gone, or after Stop. A
    // stream that does not block is waited for, too.
    virtual bool Write(const void* data, size_t size) = 0;
    // Ends the write that waits, and every later one. Final.
    virtual void Stop() noexcept = 0;
    // Of the last failure; the writing thread's.
    virtual const std::string& FailureText() const = 0;
};

// Throw std::runtime_error when the system refuses what waiting takes.
std::unique_ptr<OutputStream> OpenStandardOutput();
std::unique_ptr<OutputStream> OpenStandardError();

}  // namespace receiver
