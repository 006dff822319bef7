// receiver-hash FILE...: the fingerprint of each recording, written beside it.
#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "detect/reference_hash.h"
#include "platform/standard_streams.h"

namespace receiver {
namespace {

constexpr int kUsageError = 2;

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
    } catch (const std::exception& error) {
        std::cerr << "receiver-hash: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
    CLI::App app(
        "Writes the fingerprint of each recording to FILE.hash: a 32-bit word, little-endian,\n"
        "for every 12.5 ms. An existing FILE.hash is replaced.",
        "receiver-hash");
    app.set_version_flag("--version", "receiver-hash " RECEIVER_VERSION);
    std::vector<std::string> files;
    app.add_option("FILE", files, "a recording in any format that FFmpeg reads")
        ->required()
        ->type_name("");
    app.footer(
        "Prints a line for each file: what was written, or why not.\n"
        "Exit status: 0 when all were written, 1 when any was not, 2 for wrong arguments.\n\n"
        "Example: receiver-hash opening.wav closing.mp3");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kUsageError;
    }

    bool allWritten = true;
    for (const std::string& file : files) allWritten = Dump(file) && allWritten;
    return allWritten && std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
}
