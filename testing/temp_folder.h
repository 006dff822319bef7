// A folder of its own for one test, gone with everything in it when the test ends.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

#include "platform/ids.h"

namespace receiver {

class TempFolder final {
public:
    TempFolder()
        : path_(std::filesystem::temp_directory_path() / ("receiver-test-" + CreateInstanceId())) {
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    // The path of a file in it, as the receiver takes paths; the name is ASCII.
    std::string File(const std::string& name) const { return (path_ / name).string(); }

private:
    const std::filesystem::path path_;
};

}  // namespace receiver
