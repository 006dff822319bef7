// The hash file of arbitrary bytes: the words of the recording and nothing else, or a reason
// why there is none.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "detect/reference_hash.h"
#include "fuzz.h"
#include "fuzz/input_file.h"

namespace receiver {
namespace {

std::string BytesOfFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace
}  // namespace receiver

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace receiver;
    static const InputFile file;
    file.Write(data, size);
    const std::string output = file.Path() + ".hash";
    std::filesystem::remove(output);

    std::vector<uint32_t> words = {1, 2, 3};
    std::string message;
    const bool fingerprinted = FingerprintFile(file.Path(), &words, &message);
    std::string dumpMessage;
    Expect(DumpReferenceHash(file.Path(), &dumpMessage) == fingerprinted);
    if (!fingerprinted) {
        Expect(message == "decode failed (FFmpeg Open)" || message == "no audio decoded");
        Expect(words.empty());
        Expect(dumpMessage == message);
        Expect(!std::filesystem::exists(output));
        return 0;
    }
    Expect(!words.empty());
    Expect(message.starts_with(std::to_string(words.size()) + " frames, "));
    Expect(dumpMessage == message + " -> " + output);
    const std::string dumped = BytesOfFile(output);
    Expect(dumped.size() == words.size() * sizeof(uint32_t));
    Expect(std::memcmp(dumped.data(), words.data(), dumped.size()) == 0);
    return 0;
}
