// The input of a fuzz target as a file, for code that takes a path. One for the whole run,
// in a folder of its own, gone with whatever lies beside it when the program ends in order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {

class InputFile final {
public:
    const std::string& Path() const { return path_; }
    // Replaces the file.
    void Write(const uint8_t* data, size_t size) const {
        WriteFileBytes(path_, std::string_view(reinterpret_cast<const char*>(data), size));
    }

private:
    const TempFolder folder_;
    const std::string path_ = folder_.File("input");
};

}  // namespace receiver
