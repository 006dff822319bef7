// A file that a scan writes.
//
//   Threads  one.
#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace receiver {

// The disk, not the tool, is at fault; the text is for people.
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class ScanOutput final {
public:
    // Replaces the file. Throws OutputError.
    explicit ScanOutput(const std::string& path);
    void Write(std::string_view bytes) {
        stream_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    // Throws OutputError unless all that was written has reached the system.
    void Close();

private:
    const std::string path_;
    std::ofstream stream_;
};

void WriteWholeFile(const std::string& path, std::string_view bytes);  // throws OutputError

}  // namespace receiver
