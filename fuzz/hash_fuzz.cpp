// A recording of arbitrary bytes: decoded and fingerprinted, or refused with a message.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "detect/reference_hash.h"
#include "fuzz.h"
#include "platform/ids.h"

namespace receiver {
namespace {

class InputFile final {
public:
    ~InputFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    std::string Write(const uint8_t* data, size_t size) const {
        std::ofstream file(path_, std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        return path_.string();
    }

private:
    const std::filesystem::path path_ =
        std::filesystem::temp_directory_path() / ("receiver-fuzz-" + CreateInstanceId());
};

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    static const InputFile file;
    std::vector<uint32_t> words;
    std::string message;
    const bool fingerprinted = FingerprintFile(file.Write(data, size), &words, &message);
    Expect(!message.empty());
    Expect(fingerprinted || message == "decode failed (FFmpeg Open)" ||
           message == "no audio decoded");
    return 0;
}
