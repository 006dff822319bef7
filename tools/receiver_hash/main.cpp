// receiver-hash FILE...: the fingerprint of each recording, written beside it.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "detect/reference_hash.h"
#include "platform/standard_streams.h"
#include "receiver_hash/hash_command_line.h"

namespace receiver {
namespace {

bool Dump(const std::string& path) {
    std::string message;
    bool written = false;
    try {
        written = DumpReferenceHash(path, &message);
    } catch (const std::exception& error) {
        message = error.what();
    }
    std::cout << path << ": " << message << std::endl;
    return written;
}

}  // namespace
}  // namespace receiver

int main(int argc, char** argv) {
    using namespace receiver;
    try {
        OpenMissingStandardStreams();
        const HashCommandLine line = ParseHashCommandLine(argc, argv);
        if (line.answer) return Give(*line.answer);
        bool allWritten = true;
        for (const std::string& file : line.files) allWritten = Dump(file) && allWritten;
        return allWritten && std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        WriteStandardErrorLine(std::string("receiver-hash: ") + error.what());
        return EXIT_FAILURE;
    }
}
