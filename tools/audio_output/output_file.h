// A file that is written at any offset, and standard output as a stream of bytes:
// what a recording needs of the operating system. Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace receiver {

class OutputFile final {
public:
    OutputFile() = default;
    ~OutputFile() { Close(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Creates the file; one that exists is emptied with `overwrite`, else refused.
    bool Create(const std::filesystem::path& path, bool overwrite);
    // All of the bytes, or false.
    bool WriteAt(uint64_t offset, const void* data, size_t size);
    bool Truncate(uint64_t size);
    bool IsOpen() const { return native_ != kClosed; }
    bool Flush();  // to the disk
    void Close();

    // The cause of the last failure, for people.
    const std::string& FailureText() const { return failure_; }

private:
    static constexpr std::intptr_t kClosed = -1;  // also INVALID_HANDLE_VALUE

    bool Fail();  // keeps the system's text, returns false

    std::intptr_t native_ = kClosed;
    std::string failure_;
};

class StandardOutput final {
public:
    // All of the bytes, however long the reader takes; false once it is gone.
    bool Write(const void* data, size_t size);
    const std::string& FailureText() const { return failure_; }

private:
    std::string failure_;
};

}  // namespace receiver
