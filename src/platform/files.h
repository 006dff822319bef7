// File queries and the write-only file handle beneath the log. Paths are in the
// process's ANSI code page (platform/text.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace receiver {

// True for anything that exists and is not a directory; any failure of the query is false.
bool IsExistingFile(const std::string& path);

// A file that is only written at its end and shared with readers and writers.
// Not thread-safe. Closes itself.
class AppendFile final {
public:
    enum class Mode { kOpenAlways, kCreateAlways };

    AppendFile() = default;
    ~AppendFile() { Close(); }
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    // Closes what was open. False leaves it closed. kOpenAlways continues at the end.
    bool Open(const std::string& path, Mode mode);
    void Close();
    bool IsOpen() const { return native_ != kClosed; }
    uint64_t Size() const;  // bytes in the file; 0 when closed
    // Bytes that reached the file, which may be fewer than asked for (full disk).
    size_t Write(const void* data, size_t size);
    void Flush();  // to the disk, where the writes have not done it themselves

private:
    static constexpr std::intptr_t kClosed = -1;  // also INVALID_HANDLE_VALUE
    std::intptr_t native_ = kClosed;
};

}  // namespace receiver
