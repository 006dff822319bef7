// A file that is written at any offset: what a recording needs of the operating system.
// Not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

namespace receiver {

class OutputFile final {
public:
    OutputFile() = default;
    ~OutputFile() { Close(); }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Creates the file, and never opens one that is there: with `overwrite` that is removed
    // (a link itself, not what it leads to), unless another OutputFile is writing it, else
    // refused.
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

// Whether an OutputFile, of this or another process, is writing it.
bool IsBeingWritten(const std::filesystem::path& path);

// Gives a file another name in its folder, and puts the name onto the disk. Without `overwrite`
// a name that exists is refused by the step itself, as std::errc::file_exists.
std::error_code RenameFile(const std::filesystem::path& from, const std::filesystem::path& to,
                           bool overwrite);

}  // namespace receiver
