// A program started by this one, with its output streams: how a controlling program
// runs the receiver, and how the tests run what was built.
//
//   Units    deadlines are TickMs() values.
//   Threads  one thread at a time reads and waits; Interrupt, AskToEnd, Terminate and
//            Kill may come from any thread.
//   Errors   the constructor throws std::runtime_error "Cannot start PROGRAM"; the
//            rest answers with nothing when the deadline passes.
//
// The child reads an empty standard input and is the first of a process group of its
// own, so that Ctrl+C in the parent's console reaches the parent alone. It ends with this
// process however that ends, even killed: SIGTERM asks it to on Linux, a job ends it on
// Windows.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace receiver {

class ChildProcessHandle;

// A captured stream of a child.
struct ChildStream {
    std::string unread;
    bool ended = false;
};

class ChildProcess final {
public:
    enum class ErrorStream { kInherit, kCapture, kNull };

    // `program` without a separator is looked up as the system does. Texts are in the
    // process's ANSI code page (platform/text.h).
    ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                 ErrorStream errorStream = ErrorStream::kInherit);
    ~ChildProcess();  // kills a child that still runs, and waits for its end
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // The next line without its line end (LF, or CR LF); a last line may lack it. Nothing at
    // the end of the stream, or when the deadline passes first.
    std::optional<std::string> ReadLine(uint64_t deadlineTickMs);
    std::optional<std::string> ReadErrorLine(uint64_t deadlineTickMs);
    // Everything up to the end of the stream. Nothing when the deadline passes first; what
    // came until then stays for the next call.
    std::optional<std::string> ReadAllOutput(uint64_t deadlineTickMs);
    std::optional<std::string> ReadAllErrors(uint64_t deadlineTickMs);

    // The exit code; 128 + n for a child that signal n ended. Reads the streams meanwhile, so
    // that a child with much to say does not wait for ever.
    std::optional<int> WaitForExit(uint64_t deadlineTickMs);

    // Asks for a clean end: SIGINT; Ctrl+Break on Windows, where Ctrl+C cannot be sent to
    // a process group.
    void Interrupt();
    // The same from a program rather than its user: SIGTERM, which a shell's background jobs
    // do not ignore as they do SIGINT; Ctrl+Break on Windows.
    void AskToEnd();
    void Terminate();  // SIGTERM; on Windows as Kill
    void Kill();       // exit code 137 on every platform

    uint32_t ProcessId() const;

private:
    std::optional<std::string> ReadLineOf(ChildStream& stream, uint64_t deadlineTickMs);
    std::optional<std::string> ReadAllOf(ChildStream& stream, uint64_t deadlineTickMs);

    ChildStream output_;
    ChildStream errors_;
    std::optional<int> exitCode_;  // once the child has ended
    const std::unique_ptr<ChildProcessHandle> process_;
};

}  // namespace receiver
