#include "platform/child_process.h"

#include <cstddef>
#include <utility>

#include "platform/child_process_handle.h"

namespace receiver {

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           ErrorStream errorStream)
    : process_(StartChildProcess(program, arguments, errorStream)) {
    errors_.ended = errorStream != ErrorStream::kCapture;
}

ChildProcess::~ChildProcess() = default;

std::optional<std::string> ChildProcess::ReadLine(uint64_t deadlineTickMs) {
    return ReadLineOf(output_, deadlineTickMs);
}

std::optional<std::string> ChildProcess::ReadErrorLine(uint64_t deadlineTickMs) {
    return ReadLineOf(errors_, deadlineTickMs);
}

std::optional<std::string> ChildProcess::ReadAllOutput(uint64_t deadlineTickMs) {
    return ReadAllOf(output_, deadlineTickMs);
}

std::optional<std::string> ChildProcess::ReadAllErrors(uint64_t deadlineTickMs) {
    return ReadAllOf(errors_, deadlineTickMs);
}

std::optional<int> ChildProcess::WaitForExit(uint64_t deadlineTickMs) {
    while (!exitCode_) {
        if (!process_->WaitForNews(output_, errors_, exitCode_, deadlineTickMs)) break;
    }
    return exitCode_;
}

void ChildProcess::Interrupt() {
    process_->Interrupt();
}

void ChildProcess::AskToEnd() {
    process_->AskToEnd();
}

void ChildProcess::Terminate() {
    process_->Terminate();
}

void ChildProcess::Kill() {
    process_->Kill();
}

uint32_t ChildProcess::ProcessId() const {
    return process_->Id();
}

std::optional<std::string> ChildProcess::ReadLineOf(ChildStream& stream, uint64_t deadlineTickMs) {
    size_t lineEnd = 0;
    while ((lineEnd = stream.unread.find('\n')) == std::string::npos && !stream.ended) {
        if (!process_->WaitForNews(output_, errors_, exitCode_, deadlineTickMs)) {
            return std::nullopt;
        }
    }
    if (lineEnd == std::string::npos) {
        if (stream.unread.empty()) return std::nullopt;
        return std::exchange(stream.unread, {});
    }
    std::string line = stream.unread.substr(0, lineEnd);
    stream.unread.erase(0, lineEnd + 1);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

std::optional<std::string> ChildProcess::ReadAllOf(ChildStream& stream, uint64_t deadlineTickMs) {
    while (!stream.ended) {
        if (!process_->WaitForNews(output_, errors_, exitCode_, deadlineTickMs)) {
            return std::nullopt;
        }
    }
    return std::exchange(stream.unread, {});
}

}  // namespace receiver
