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

// What a writer needs of it, so that tests can be the stream.
class StoppableOutput {
public:
    StoppableOutput() = default;
    StoppableOutput(const StoppableOutput&) = delete;
    StoppableOutput& operator=(const StoppableOutput&) = delete;
    virtual ~StoppableOutput() = default;

    // All of the bytes, however long the reader takes; false once it is gone, or after Stop.
    virtual bool Write(const void* data, size_t size) = 0;
    // Ends the write that waits, and every later one. Final.
    virtual void Stop() noexcept = 0;
};

class OutputStream final : public StoppableOutput {
public:
    enum class Which { kOutput, kErrors };

    // Throws std::runtime_error when the system refuses an event.
    explicit OutputStream(Which which);
    ~OutputStream() override;

    // A stream that does not block is waited for, too.
    bool Write(const void* data, size_t size) override;
    void Stop() noexcept override;
    const std::string& FailureText() const;  // of the writing thread's last failure

private:
    class Stream;
    const std::unique_ptr<Stream> stream_;
};

}  // namespace receiver
