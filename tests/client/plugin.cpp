// A plugin of some host program: a shared object with one C function, which records through the
// client library that it was linked with. Compiled by client_package.cmake.
#include <receiver_client/receiver_client.h>
#include <receiver_client/receiver_process.h>

#include <cstdio>

using namespace std::chrono_literals;

// Frames of a programme of two seconds, or -1. The file stands for whatever the host does with it.
extern "C" __attribute__((visibility("default"))) long long plugin_record(char** arguments) {
    const receiver::Cancellation stop;
    receiver::ReceiverProcess process(stop);
    receiver::ReceiverClient client(stop);
    if (!process.Start(arguments[0], arguments[1], 10s) ||
        !client.Connect(process.ControlUri(), 10s)) {
        return -1;
    }
    receiver::PrepareRequest request;
    request.sessionId = "plugin";
    request.url = arguments[2];
    request.references = {{"jingle", receiver::Role::kStart, arguments[3]}};
    request.program = receiver::ProgramLimits{2000, 0};
    std::FILE* const file = std::fopen(arguments[4], "wb");
    receiver::ProgramSink sink;
    sink.write = [file](std::span<const std::byte> pcm) {
        return std::fwrite(pcm.data(), 1, pcm.size(), file) == pcm.size();
    };
    const receiver::ProgramResult result = client.RecordProgram(request, sink);
    client.Shutdown(10s);
    std::fclose(file);
    return result.complete ? static_cast<long long>(result.frames) : -1;
}
